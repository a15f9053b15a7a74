#include "linux/providers/process_source.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "frame/text.h"
#include "linux/parsers/field_file.h"
#include "linux/parsers/scan.h"
#include "linux/providers/failure.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {
namespace {

/// "PID/file" without an allocation.
class ProcessPath {
 public:
  ProcessPath(pid_t pid, std::string_view file) {
    char* end = std::to_chars(text_.data(), text_.data() + text_.size(), pid).ptr;
    *end++ = '/';
    const std::size_t room = static_cast<std::size_t>(text_.data() + text_.size() - end) - 1;
    end = std::copy_n(file.data(), std::min(file.size(), room), end);
    *end = '\0';
  }
  [[nodiscard]] const char* c_str() const noexcept { return text_.data(); }

 private:
  std::array<char, 48> text_{};
};

/// The part of struct linux_dirent64 that the kernel promises.
constexpr std::size_t kEntryLength = 16;
constexpr std::size_t kEntryName = 19;

/// Calls `name` with each entry of an open folder; false where it cannot be read.
template <typename Name>
bool for_each_entry(int folder, Name&& name) {
  alignas(8) std::array<char, 32768> buffer{};
  while (true) {
    const long got = syscall(SYS_getdents64, folder, buffer.data(), buffer.size());
    if (got <= 0) return got == 0;
    for (std::size_t at = 0; at < static_cast<std::size_t>(got);) {
      std::uint16_t length = 0;
      std::memcpy(&length, buffer.data() + at + kEntryLength, sizeof length);
      name(std::string_view(buffer.data() + at + kEntryName));
      at += length;
    }
  }
}

/// How long a process number certainly stays with its process after it was seen: passing it on takes a turn
/// through all numbers.
constexpr std::chrono::seconds kNumberIsSafe{1};

/// What the kernel's start times are told in. The difference of two clocks is read to the microsecond and
/// differs a little at each reading; cut to these steps it is the same for every program that computes it.
using StartTimeStep = std::chrono::duration<std::int64_t, std::centi>;

std::string_view without_line_end(std::string_view text) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  return text;
}

}  // namespace

ProcessSource::ProcessSource(const Machine& machine)
    : machine_(machine),
      boot_to_1970_(std::chrono::floor<StartTimeStep>(machine.wall_time() - machine.boot_time())),
      tick_100ns_(10'000'000 / static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK))),
      page_size_(static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE))) {}

int ProcessSource::proc() const {
  const std::lock_guard lock(mutex_);
  if (!proc_) proc_ = open_at(AT_FDCWD, machine_.proc.c_str(), O_PATH | O_DIRECTORY);
  if (!proc_) throw provider_failure();
  return proc_.get();
}

std::vector<pid_t> ProcessSource::all() const {
  // A folder remembers how far it was read, so every pass needs one of its own.
  const Descriptor folder = open_at(proc(), ".", O_RDONLY | O_DIRECTORY);
  std::vector<pid_t> pids;
  pids.reserve(512);
  const bool complete = folder && for_each_entry(folder.get(), [&](std::string_view name) {
                          if (name.front() > '9' || name.front() < '0') return;
                          if (const auto pid = parsers::to_number<pid_t>(name)) pids.push_back(*pid);
                        });
  if (!complete) throw provider_failure();
  // /proc itself is in order; a recorded tree need not be.
  if (!std::is_sorted(pids.begin(), pids.end())) std::sort(pids.begin(), pids.end());
  return pids;
}

bool ProcessSource::exists(pid_t pid) const {
  if (pid <= 0) return false;
  std::array<char, 512> buffer{};
  // A thread's number opens as a folder too, but is no process.
  const auto status = read_short(pid, "status", buffer);
  return status && parsers::number_field(*status, "Tgid") == static_cast<std::uint64_t>(pid);
}

std::vector<pid_t> ProcessSource::existing(std::vector<pid_t> pids) const {
  std::erase_if(pids, [this](pid_t pid) { return !exists(pid); });
  return pids;
}

std::optional<std::string_view> ProcessSource::read_short(pid_t pid, std::string_view file,
                                                          std::span<char> buffer) const {
  return providers::read_short(proc(), ProcessPath(pid, file).c_str(), buffer);
}

std::optional<std::string> ProcessSource::read(pid_t pid, std::string_view file) const {
  return read_file_at(proc(), ProcessPath(pid, file).c_str());
}

std::optional<std::string> ProcessSource::read_link(pid_t pid, std::string_view file) const {
  return read_link_at(proc(), ProcessPath(pid, file).c_str());
}

std::optional<std::uint64_t> ProcessSource::count_entries(pid_t pid, std::string_view folder) const {
  const Descriptor open_folder = open_at(proc(), ProcessPath(pid, folder).c_str(), O_RDONLY | O_DIRECTORY);
  std::uint64_t count = 0;
  const bool complete = open_folder && for_each_entry(open_folder.get(), [&](std::string_view name) {
                          if (name != "." && name != "..") ++count;
                        });
  if (!complete) return std::nullopt;
  return count;
}

std::optional<std::string> ProcessSource::executable(pid_t pid) const {
  std::optional<std::string> path = read_link(pid, "exe");
  constexpr std::string_view kDeleted = " (deleted)";
  if (path && path->ends_with(kDeleted)) path->resize(path->size() - kDeleted.size());
  return path;
}

bool ProcessSource::has_ended(pid_t pid) const {
  std::array<char, 1024> buffer{};
  const auto text = read_short(pid, "stat", buffer);
  const auto stat = text ? parsers::parse_process_stat(*text) : std::nullopt;
  return !stat || stat->has_ended();
}

std::optional<std::string> ProcessSource::full_name(pid_t pid, std::string_view comm) const {
  if (comm.size() != parsers::kCommLength) return std::string(comm);
  const std::string path = executable(pid).value_or("");
  if (auto name = parsers::completed_name(comm, {path})) return name;
  // To read the arguments takes a lock of the process's memory, which it may hold for long.
  const std::string arguments = read(pid, "cmdline").value_or("");
  if (auto name = parsers::completed_name(comm, parsers::parse_arguments(arguments))) return name;
  // What has ended keeps only the cut name. A kernel thread has no files either, and its name is whole.
  if (path.empty() && arguments.empty() && has_ended(pid)) return std::nullopt;
  return std::string(comm);
}

std::optional<std::string> ProcessSource::name(pid_t pid) const {
  return name_among(pid, {});
}

std::optional<std::string> ProcessSource::name_among(pid_t pid,
                                                     const std::vector<std::string_view>& wanted) const {
  std::array<char, 128> buffer{};
  const std::optional<std::string_view> text = read_short(pid, "comm", buffer);
  if (!text || text->empty()) return std::nullopt;
  const std::string_view comm = parsers::lasting_name(without_line_end(*text));
  const auto may_be = [&](std::string_view name) { return parsers::may_be_named(comm, name); };
  if (!wanted.empty() && std::none_of(wanted.begin(), wanted.end(), may_be)) return std::nullopt;

  std::optional<std::string> name = full_name(pid, comm);
  const auto is = [&](std::string_view other) { return equals_ignoring_case(*name, other); };
  if (name && !wanted.empty() && std::none_of(wanted.begin(), wanted.end(), is)) return std::nullopt;
  return name;
}

std::chrono::microseconds ProcessSource::since_1970(std::chrono::nanoseconds since_boot) const {
  return std::chrono::floor<std::chrono::microseconds>(boot_to_1970_ + since_boot);
}

std::chrono::nanoseconds ProcessSource::ticks_to_time(std::uint64_t ticks) const {
  return std::chrono::nanoseconds(ticks * tick_100ns_ * 100);
}

ProcessFiles::Texts& ProcessFiles::texts() {
  if (!texts_) texts_ = std::make_unique<Texts>();
  return *texts_;
}

const parsers::ProcessStat* ProcessFiles::stat() {
  Texts& kept = texts();
  if (!kept.stat_read) {
    kept.stat_read = true;
    std::array<char, 1024> buffer{};
    if (const auto text = source_->read_short(pid_, "stat", buffer))
      kept.stat = parsers::parse_process_stat(*text);
    if (kept.stat) {
      kept.stat->comm = {};  // it points into the buffer
      if (source_->ticks_to_time(kept.stat->start_ticks) > seen_) kept.stat.reset();
    }
  }
  return kept.stat ? &*kept.stat : nullptr;
}

bool ProcessFiles::still_the_same() {
  std::array<char, 1024> buffer{};
  const auto text = source_->read_short(pid_, "stat", buffer);
  if (!text) return false;
  const auto now = parsers::parse_process_stat(*text);
  return now && source_->ticks_to_time(now->start_ticks) <= seen_;
}

template <typename Read>
auto ProcessFiles::checked(Read&& read) -> decltype(read()) {
  auto value = read();
  if (value && source_->machine().boot_time() - seen_ > kNumberIsSafe && !still_the_same()) value.reset();
  return value;
}

std::optional<std::uint64_t> ProcessFiles::status_number(std::string_view name) {
  auto& text = texts().status;
  if (!text) text = checked([&] { return source_->read(pid_, "status"); });
  return *text ? parsers::number_field(**text, name) : std::nullopt;
}

std::optional<std::uint64_t> ProcessFiles::io_number(std::string_view name) {
  auto& text = texts().io;
  if (!text) text = checked([&] { return source_->read(pid_, "io"); });
  return *text ? parsers::number_field(**text, name) : std::nullopt;
}

std::optional<std::uint64_t> ProcessFiles::resident_bytes() {
  return checked([&]() -> std::optional<std::uint64_t> {
    std::array<char, 256> buffer{};
    const auto text = source_->read_short(pid_, "statm", buffer);
    if (!text) return std::nullopt;
    const auto pages = parsers::parse_resident_pages(*text);
    // A zombie has no memory to measure; a kernel thread has none of its own.
    if (!pages || (*pages == 0 && source_->has_ended(pid_))) return std::nullopt;
    return *pages * source_->page_size();
  });
}

std::optional<std::string> ProcessFiles::name() {
  return checked([&] { return source_->name(pid_); });
}

std::optional<std::string> ProcessFiles::executable() {
  return checked([&] { return source_->executable(pid_); });
}

std::optional<std::string> ProcessFiles::command_line() {
  return checked([&]() -> std::optional<std::string> {
    const std::optional<std::string> text = source_->read(pid_, "cmdline");
    if (!text || text->empty()) return std::nullopt;
    return parsers::command_line(parsers::parse_arguments(*text));
  });
}

std::optional<std::uint64_t> ProcessFiles::handles() {
  return checked([&] { return source_->count_entries(pid_, "fd"); });
}

std::optional<std::uint64_t> ProcessFiles::login_session() {
  return checked([&]() -> std::optional<std::uint64_t> {
    std::array<char, 32> buffer{};
    const auto text = source_->read_short(pid_, "sessionid", buffer);
    if (!text) return std::nullopt;
    const auto session = parsers::to_number<std::uint32_t>(parsers::trimmed(*text));
    // A process of no login session has the highest number; services run in session 0.
    return session == 0xFFFFFFFF ? 0 : session.value_or(0);
  });
}

std::optional<std::uint64_t> ProcessFiles::cpu_100ns() {
  const auto exact = checked([&] { return source_->machine().process_cpu_time(pid_); });
  if (exact) return static_cast<std::uint64_t>(exact->count() / 100);
  if (stat() == nullptr) return std::nullopt;
  return source_->ticks_to_100ns(stat()->user_ticks + stat()->system_ticks);
}

int ProcessFiles::kill() {
  return source_->machine().kill_process(pid_, [&] { return still_the_same(); });
}

}  // namespace kvwmi::ground::providers
