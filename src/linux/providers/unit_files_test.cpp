#include "linux/providers/unit_files.h"

#include <sys/stat.h>

#include "kvwmi/error.h"
#include "linux/providers/unit_specifiers.h"
#include "linux/testing/no_descriptors.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground::providers {
namespace {

using testing::NoDescriptors;
using testing::RecordedMachine;
using Texts = std::vector<std::string>;

class UnitFolders : public ::testing::Test {
 protected:
  /// A file that gives `description`; empty takes back what others gave.
  void describe(const std::string& path, const std::string& description) {
    machine.write(path, "[Unit]\nDescription=" + description + "\n");
  }
  std::vector<UnitFile> list() { return list(files); }
  std::vector<UnitFile> list(UnitFiles& asked, std::chrono::seconds later = {}) {
    // A clock that goes with the one of the files.
    machine.wall =
        std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch()) +
        later;
    return asked.list({"/etc/units", "/run/units", "/lib/units"});
  }
  /// What was written a moment ago is read each time; here all files are older than that.
  std::vector<UnitFile> list_at_rest() { return list(files, std::chrono::seconds(1)); }
  std::string description(const std::string& unit) {
    for (const UnitFile& file : list()) {
      if (file.unit == unit) return file.description.value_or("(unknown)");
    }
    return "(not listed)";
  }

  /// A file that nobody can open, whatever his rights.
  void make_unreadable(const std::string& path) {
    machine.write(path, "");
    machine.remove(path);
    ASSERT_EQ(mknod((machine.root + path).c_str(), S_IFSOCK | 0600, 0), 0);
  }
  /// Has `steps` put something into the place of the file or folder at `path`, with the same time.
  template <typename Steps>
  void replace(const std::string& path, Steps&& steps) {
    const auto time = std::filesystem::last_write_time(machine.root + path);
    machine.remove(path);
    EXPECT_TRUE(list_at_rest().empty());
    steps();
    std::filesystem::last_write_time(machine.root + path, time);
  }

  RecordedMachine machine;
  UnitFiles files{machine};
};

TEST_F(UnitFolders, TheFirstFolderThatHasAUnitDecides) {
  describe("/lib/units/a.service", "Low");
  EXPECT_EQ(description("a.service"), "Low");
  describe("/etc/units/a.service", "High");
  EXPECT_EQ(description("a.service"), "High");
  machine.remove("/etc/units/a.service");
  EXPECT_EQ(description("a.service"), "Low");
}

TEST_F(UnitFolders, FurtherFilesAddToAUnitInTheOrderOfTheirNames) {
  describe("/lib/units/a-b.service", "Own");
  describe("/lib/units/a-b.service.d/20.conf", "Twenty");
  EXPECT_EQ(description("a-b.service"), "Twenty");
  describe("/etc/units/a-b.service.d/10.conf", "Ten");
  EXPECT_EQ(description("a-b.service"), "Twenty") << "names count, wherever the files lie";
  describe("/lib/units/a-.service.d/30.conf", "All of a");
  EXPECT_EQ(description("a-b.service"), "All of a");
  describe("/run/units/service.d/40.conf", "All services");
  EXPECT_EQ(description("a-b.service"), "All services");
  describe("/run/units/service.d/40.conf", "");
  EXPECT_EQ(description("a-b.service"), "a-b.service") << "taken back";
  describe("/run/units/service.d/40.conf", "%Z");
  EXPECT_EQ(description("a-b.service"), "All of a") << "one that cannot be filled in is ignored";
  describe("/run/units/a-b.service.d/50.conf~", "Copy");
  describe("/run/units/a-b.service.d/.50.conf", "Hidden");
  EXPECT_EQ(description("a-b.service"), "All of a");
}

TEST_F(UnitFolders, AFileHidesThoseOfItsNameInLaterFolders) {
  describe("/lib/units/a-b.service", "Own");
  describe("/lib/units/a-b.service.d/10.conf", "Lib, this one");
  describe("/run/units/a-.service.d/10.conf", "Run, all of a");
  EXPECT_EQ(description("a-b.service"), "Run, all of a") << "the folder of units counts first";
  describe("/run/units/a-b.service.d/10.conf", "Run, this one");
  EXPECT_EQ(description("a-b.service"), "Run, this one");
  describe("/etc/units/service.d/10.conf", "Etc, all services");
  EXPECT_EQ(description("a-b.service"), "Run, this one") << "what is about all services counts last";
  machine.link("/etc/units/a-b.service.d/10.conf", "/dev/null");
  EXPECT_EQ(description("a-b.service"), "Own");
}

TEST_F(UnitFolders, FurtherFilesOfATemplateAddToItsInstances) {
  describe("/lib/units/a@b.service", "Own");
  describe("/lib/units/a@.service.d/10.conf", "Template's %i");
  EXPECT_EQ(description("a@b.service"), "Template's b");
}

TEST_F(UnitFolders, MaskedOnesToo) {
  machine.link("/etc/units/link.service", "/dev/null");
  machine.write("/etc/units/empty.service", "");
  describe("/etc/units/service.d/10.conf", "Added to %N");
  const auto listed = list();
  ASSERT_EQ(listed.size(), 2U);
  for (const UnitFile& file : listed) EXPECT_TRUE(file.masked) << file.unit;
  EXPECT_EQ(listed[0].description, "Added to empty");
  EXPECT_EQ(listed[1].description, "Added to link");
}

TEST_F(UnitFolders, ALinkToNothingMasksHoweverItIsSpelled) {
  machine.link("/dev/null", "/dev/null");
  machine.link("/etc/units/relative.service", "../../dev/null");
  machine.link("/etc/units/odd.service", "//dev/../dev/null");
  describe("/lib/units/relative.service", "There");
  machine.link("/etc/units/second.service", "odd.service");
  const auto listed = list();
  ASSERT_EQ(listed.size(), 2U) << "a second name is none";
  EXPECT_EQ(listed[0].unit, "odd.service");
  EXPECT_EQ(listed[1].unit, "relative.service");
  for (const UnitFile& file : listed) EXPECT_TRUE(file.masked) << file.unit;
}

TEST_F(UnitFolders, ALinkToWhatIsGoneIsNoUnit) {
  machine.link("/etc/units/gone.service", "/nowhere/gone.service");
  std::filesystem::create_directories(machine.root + "/etc/units/folder.service");
  describe("/etc/units/there.service", "There");
  EXPECT_EQ(list().size(), 1U);
  EXPECT_EQ(description("there.service"), "There");
}

TEST_F(UnitFolders, FurtherFilesThatChangeAreReadAgain) {
  describe("/lib/units/a.service", "Own");
  describe("/lib/units/a.service.d/10.conf", "First");
  EXPECT_EQ(description("a.service"), "First");
  describe("/lib/units/a.service.d/10.conf", "Other");
  EXPECT_EQ(description("a.service"), "Other");
  describe("/lib/units/a.service.d/20.conf", "Second");
  EXPECT_EQ(description("a.service"), "Second");
  machine.remove("/lib/units/a.service.d");
  EXPECT_EQ(description("a.service"), "Own");
}

TEST_F(UnitFolders, WhatAListingDidNotFindIsForgotten) {
  describe("/lib/units/a.service", "One");
  EXPECT_EQ(list_at_rest().size(), 1U);
  replace("/lib/units/a.service", [&] { describe("/lib/units/a.service", "Two"); });
  EXPECT_EQ(list_at_rest().at(0).description, "Two");
  describe("/lib/units/a.service.d/10.conf", "Added");
  EXPECT_EQ(list_at_rest().size(), 1U);
  machine.remove("/lib/units/a.service");
  replace("/lib/units/a.service.d", [&] {
    describe("/lib/units/a.service.d/20.conf", "Added otherwise");
    describe("/lib/units/a.service", "Two");
  });
  EXPECT_EQ(list_at_rest().at(0).description, "Added otherwise");
}

TEST_F(UnitFolders, AFolderThatCannotBeReadIsAFailureAndNotEmpty) {
  describe("/lib/units/a.service", "One");
  UnitFiles other(machine);
  EXPECT_EQ(list(other).size(), 1U) << "as long as there are descriptors";
  {
    const NoDescriptors none;
    EXPECT_THROW(static_cast<void>(list()), Error);
  }
  EXPECT_EQ(list().size(), 1U) << "read again though the folder has not changed";
  describe("/lib/units/b.service", "Two");
  {
    const NoDescriptors none;
    try {
      static_cast<void>(list());
      FAIL();
    } catch (const Error& error) {
      EXPECT_EQ(static_cast<std::uint32_t>(error.number()), 0x80041004);
      ASSERT_TRUE(error.query_diagnostic());
      EXPECT_EQ(error.query_diagnostic()->message,
                machine.root + "/lib/units cannot be read (Too many open files)");
    }
  }
  EXPECT_EQ(list().size(), 2U);
}

TEST_F(UnitFolders, AFileThatCannotBeReadLeavesTheDescriptionUnknown) {
  describe("/lib/units/a.service", "One");
  describe("/lib/units/b.service", "Two");
  make_unreadable("/lib/units/a.service");
  make_unreadable("/lib/units/b.service.d/10.conf");
  EXPECT_EQ(description("a.service"), "(unknown)");
  EXPECT_EQ(description("b.service"), "(unknown)");
  machine.remove("/lib/units/a.service");
  describe("/lib/units/a.service", "One more");
  machine.remove("/lib/units/b.service.d/10.conf");
  EXPECT_EQ(description("a.service"), "One more");
  EXPECT_EQ(description("b.service"), "Two");
}

TEST_F(UnitFolders, WithoutADescriptorADescriptionIsAFailure) {
  describe("/lib/units/a.service", "One");
  list_at_rest();
  // In place, so that the folder need not be read.
  describe("/lib/units/a.service", "One more");
  {
    const NoDescriptors none;
    EXPECT_THROW(static_cast<void>(list_at_rest()), Error);
  }
  EXPECT_EQ(description("a.service"), "One more");
}

TEST_F(UnitFolders, SpecifiersOfTheMachineAreFilledIn) {
  machine.write("/proc/sys/kernel/hostname", "box.example.org\n");
  machine.write("/proc/sys/kernel/osrelease", "6.1.0-18-amd64\n");
  machine.write("/proc/sys/kernel/random/boot_id", "6beb1c0c-2f25-4f37-ac1f-25f0a01a78d2\n");
  machine.write("/etc/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
  machine.write("/etc/os-release", "ID=debian\nVERSION_ID=\"12\"\n");
  describe("/lib/units/a.service", "%N on %H (%l, %q), %o %w%W, kernel %v");
  EXPECT_EQ(description("a.service"), "a on box.example.org (box, box), debian 12, kernel 6.1.0-18-amd64");
  describe("/lib/units/a.service", "%m %b %S %C %L %E %t %T %V %h %s %u %U %g %G");
  EXPECT_EQ(
      description("a.service"),
      "3d1219c7c4c5404aaa1f6d2a48adfda4 6beb1c0c2f254f37ac1f25f0a01a78d2 /var/lib /var/cache /var/log /etc "
      "/run /tmp /var/tmp /root /bin/bash root 0 root 0");
  machine.write("/etc/machine-info", "PRETTY_HOSTNAME=\"My Box\"\n");
  EXPECT_EQ(machine_specifier(machine, 'q'), "My Box");
  EXPECT_EQ(machine_specifier(machine, 'Z'), std::nullopt);
}

}  // namespace
}  // namespace kvwmi::ground::providers
