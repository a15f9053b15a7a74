#include "linux/parsers/process_stat.h"

#include <gtest/gtest.h>

namespace kvwmi::ground::parsers {
namespace {

constexpr std::string_view kStat =
    "1234 (Web (2) x) S 1 1234 1234 34816 5678 4194304 120 30 7 2 250 125 11 12 -2 -5 3 0 98765 10485760 900 "
    "18446744073709551615 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n";

TEST(ProcessStat, TakesTheNumbersBehindTheLastBracketOfTheName) {
  const auto stat = parse_process_stat(kStat);
  ASSERT_TRUE(stat);
  EXPECT_EQ(stat->comm, "Web (2) x");
  EXPECT_EQ(stat->state, 'S');
  EXPECT_EQ(stat->parent, 1U);
  EXPECT_EQ(stat->minor_faults, 120U);
  EXPECT_EQ(stat->major_faults, 7U);
  EXPECT_EQ(stat->user_ticks, 250U);
  EXPECT_EQ(stat->system_ticks, 125U);
  EXPECT_EQ(stat->priority, -2);
  EXPECT_EQ(stat->nice, -5);
  EXPECT_EQ(stat->threads, 3U);
  EXPECT_EQ(stat->start_ticks, 98765U);
  EXPECT_EQ(stat->virtual_size, 10485760U);
}

TEST(ProcessStat, RefusesWhatIsCutOrNoStat) {
  EXPECT_FALSE(parse_process_stat(""));
  EXPECT_FALSE(parse_process_stat("1 (a"));
  EXPECT_FALSE(parse_process_stat("1 )a( S 1"));
  EXPECT_FALSE(parse_process_stat(kStat.substr(0, 60)));
  EXPECT_FALSE(parse_process_stat("1 (a) S x 1 1 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 5 0 0"));
}

TEST(ProcessStat, ResidentPagesAreTheSecondNumber) {
  EXPECT_EQ(parse_resident_pages("3000 712 400 5 0 90 0\n"), 712U);
  EXPECT_EQ(parse_resident_pages("3000"), std::nullopt);
}

std::string line_of(std::string_view text) {
  return command_line(parse_arguments(text));
}

TEST(CommandLine, QuotesWhatAWindowsProgramWouldSplit) {
  using namespace std::string_view_literals;
  EXPECT_EQ(line_of("/bin/ls\0-l\0"sv), "/bin/ls -l");
  EXPECT_EQ(line_of("/bin/ls\0my file\0\0"sv), R"(/bin/ls "my file" "")");
  EXPECT_EQ(line_of("sh\0-c\0echo \"a\\b\"\0"sv), R"(sh -c "echo \"a\b\"")");
  EXPECT_EQ(line_of("x\0a b\\\0"sv), R"(x "a b\\")");
  EXPECT_EQ(line_of("x\0a\\\"\0"sv), R"(x "a\\\"")");
  EXPECT_EQ(line_of("/opt/my app/run\0"sv), R"("/opt/my app/run")");
}

TEST(CommandLine, KeepsTheStateThatAProcessWroteOverItsArguments) {
  using namespace std::string_view_literals;
  EXPECT_EQ(line_of("web: master process\0\0\0\0\0"sv), "web: master process");
  EXPECT_EQ(line_of("unterminated"sv), "unterminated");
}

TEST(ProcessName, IsCompletedByTheFirstFileNameThatGoesOn) {
  EXPECT_EQ(completed_name("a-rather-long-n", {"/usr/bin/a-rather-long-name"}), "a-rather-long-name");
  EXPECT_EQ(completed_name("a-rather-long-n", {"a-rather-long-name2", "x"}), "a-rather-long-name2");
  // An interpreter runs a script of that name.
  EXPECT_EQ(completed_name("collect-figures", {"/usr/bin/python3", "./collect-figures.py"}),
            "collect-figures.py");
  // Exactly 15 bytes long, not cut: what only begins like it further on is something else.
  EXPECT_EQ(completed_name("exactly-fifteen", {"/bin/exactly-fifteen", "/etc/exactly-fifteen.conf"}),
            "exactly-fifteen");
  EXPECT_EQ(completed_name("exactly-fifteen", {"python3", "/opt/exactly-fifteen", "exactly-fifteen.log"}),
            "exactly-fifteen");
  EXPECT_EQ(completed_name("worker-thread-1", {"/usr/bin/server", "server"}), std::nullopt)
      << "renamed by the process itself";
}

TEST(ProcessName, OfAKernelWorkerIsWithoutTheWorkAtHand) {
  EXPECT_EQ(lasting_name("kworker/1:1H-kblockd"), "kworker/1:1H") << "what it did last";
  EXPECT_EQ(lasting_name("kworker/u8:2+flush-254:0"), "kworker/u8:2") << "what it is doing";
  EXPECT_EQ(lasting_name("kworker/0:0"), "kworker/0:0");
  EXPECT_EQ(lasting_name("kworker/R-rcu_gp"), "kworker/R-rcu_gp") << "a rescuer's own name";
  EXPECT_EQ(lasting_name("my-own+worker"), "my-own+worker");
}

TEST(ProcessName, EarlyAnswerIsNoOnlyForCertain) {
  EXPECT_TRUE(may_be_named("bash", "BASH"));
  EXPECT_FALSE(may_be_named("bash", "bas"));
  EXPECT_FALSE(may_be_named("bash", "bash2"));
  EXPECT_TRUE(may_be_named("a-rather-long-n", "A-Rather-Long-Name"));
  EXPECT_TRUE(may_be_named("exactly-fifteen", "exactly-fifteen"));
  EXPECT_FALSE(may_be_named("exactly-fifteen", "exactly-fiftee"));
  EXPECT_TRUE(may_be_named("kworker/R-inet_frag_wq", "kworker/R-inet_frag_wq"));
  // Cases of letters outside ASCII are for the full comparison, even where they differ in length: capital and
  // small sharp s take three bytes and two.
  EXPECT_TRUE(
      may_be_named("stra\xC3\x9F"
                   "e",
                   "STRA\xE1\xBA\x9E"
                   "E"));
  EXPECT_TRUE(
      may_be_named("k\xC3\xBC"
                   "che",
                   "K\xC3\x9C"
                   "CHE"));
  EXPECT_FALSE(
      may_be_named("k\xC3\xBC"
                   "che",
                   "kuuche"));
}

}  // namespace
}  // namespace kvwmi::ground::parsers
