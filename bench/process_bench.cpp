// Questions about processes, from the client's call to its answer, beside the least that /proc costs and
// beside libproc2, at 500 and at 2,000 sleeping processes. All figures of one line were measured in turns in
// one run.
#include <dirent.h>
#include <fcntl.h>
#include <libproc2/pids.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/ground.h"
#include "frame/wmi_access.h"
#include "kvwmi/checkpoint.h"
#include "kvwmi/currency.h"
#include "measure.h"

namespace {

using kvwmi::bench::Claims;

constexpr const char* kNeedle = "bench-needle";
constexpr const char* kSleeper = "bench-sleeper";

/// Sleeping processes, one of them under a name of its own.
class Sleepers {
 public:
  explicit Sleepers(int count) {
    int ready[2];
    if (pipe(ready) != 0) std::abort();
    for (int i = 0; i < count; ++i) {
      const pid_t pid = fork();
      if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_NAME, i == count / 2 ? kNeedle : kSleeper);
        if (write(ready[1], "", 1) != 1) _exit(1);
        while (true) pause();
      }
      if (pid < 0) std::abort();
      pids_.push_back(pid);
    }
    char byte = 0;
    for (int i = 0; i < count; ++i) {
      if (read(ready[0], &byte, 1) != 1) std::abort();
    }
    close(ready[0]);
    close(ready[1]);
  }
  Sleepers(const Sleepers&) = delete;
  Sleepers& operator=(const Sleepers&) = delete;
  ~Sleepers() {
    for (const pid_t pid : pids_) kill(pid, SIGKILL);
    for (const pid_t pid : pids_) waitpid(pid, nullptr, 0);
  }

 private:
  std::vector<pid_t> pids_;
};

/// The least that anybody needs: one reading of the folder, and one small file of each process.
template <typename Look>
void for_each_process(const char* file, Look look) {
  const int proc = open("/proc", O_RDONLY | O_DIRECTORY);
  alignas(8) static std::array<char, 32768> entries;
  std::array<char, 64> path{};
  std::array<char, 256> text{};
  long got = 0;
  while ((got = syscall(SYS_getdents64, proc, entries.data(), entries.size())) > 0) {
    for (long at = 0; at < got;) {
      std::uint16_t length = 0;
      std::memcpy(&length, entries.data() + at + 16, sizeof length);
      const char* name = entries.data() + at + 19;
      at += length;
      if (*name < '0' || *name > '9') continue;
      char* end = stpcpy(path.data(), name);
      *end++ = '/';
      std::strcpy(end, file);
      const int opened = openat(proc, path.data(), O_RDONLY);
      if (opened < 0) continue;
      const ssize_t size = read(opened, text.data(), text.size());
      close(opened);
      if (size > 0) look(std::string_view(text.data(), static_cast<std::size_t>(size)));
    }
  }
  close(proc);
}

int bare_count(std::string_view wanted) {
  int count = 0;
  for_each_process("comm", [&](std::string_view comm) {
    count += comm.size() == wanted.size() + 1 && comm.substr(0, wanted.size()) == wanted ? 1 : 0;
  });
  return count;
}

std::uint64_t bare_memory() {
  std::uint64_t pages = 0;
  for_each_process("statm", [&](std::string_view statm) {
    pages += std::strtoull(statm.data() + statm.find(' ') + 1, nullptr, 10);
  });
  return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

int library_count(std::string_view wanted) {
  std::array items{PIDS_ID_PID, PIDS_CMD};
  pids_info* info = nullptr;
  if (procps_pids_new(&info, items.data(), static_cast<int>(items.size())) < 0) std::abort();
  int count = 0;
  while (const pids_stack* process = procps_pids_get(info, PIDS_FETCH_TASKS_ONLY)) {
    count += process->head[1].result.str == wanted ? 1 : 0;
  }
  procps_pids_unref(&info);
  return count;
}

std::uint64_t listed_memory(kvwmi::wmi::Services& services, int& count) {
  const auto set = services.exec_query("SELECT Handle, WorkingSetSize FROM Win32_Process");
  const auto rows = set->enumerate();
  std::uint64_t bytes = 0;
  count = 0;
  while (const auto row = rows->next()) {
    const kvwmi::wmi::Value handle = row->get("Handle");
    const kvwmi::wmi::Value size = row->get("WorkingSetSize");
    if (handle.get_if<std::string>() == nullptr) std::abort();
    if (const auto* text = size.get_if<std::string>()) bytes += std::strtoull(text->c_str(), nullptr, 10);
    ++count;
  }
  return bytes;
}

/// Processor time of this thread in seconds. The works here never wait, and unlike the time on the wall it
/// does not grow with what else the machine does.
double thread_seconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Best times of several works, run in turns so that all of them see the same machine; every other round
/// backwards, so that none always runs after the one that takes most of the caches.
template <std::size_t count>
std::array<double, count> in_turns(int rounds, const std::array<std::function<void()>, count>& works) {
  std::array<double, count> best;
  best.fill(1e9);
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t turn = 0; turn < count; ++turn) {
      const std::size_t i = round % 2 == 0 ? turn : count - 1 - turn;
      const double begin = thread_seconds();
      works[i]();
      best[i] = std::min(best[i], thread_seconds() - begin);
    }
  }
  return best;
}

void measure(int processes, Claims& claims) {
  const Sleepers sleepers(processes);
  const std::string at = " at " + std::to_string(processes) + " processes";
  kvwmi::CheckPoint check_point;
  const auto services =
      kvwmi::local_ground().create_locator()->connect_server(kvwmi::wmi::ConnectArguments());

  bool found = false;
  check_point.m_GetProcessExistence(kNeedle, found);
  claims.check("the named process is found" + at, found ? 1 : 0, "1", found);
  check_point.m_GetProcessExistence("bench-nobody", found);
  claims.check("one that is not there is not" + at, found ? 1 : 0, "0", !found);
  claims.check("the bare loop finds one" + at, bare_count(kNeedle), "1", bare_count(kNeedle) == 1);
  claims.check("libproc2 finds one" + at, library_count(kNeedle), "1", library_count(kNeedle) == 1);
  int rows = 0;
  const double listed = static_cast<double>(listed_memory(*services, rows));
  claims.check("rows of the list" + at, rows, "> processes", rows > processes);
  const double memory_ratio = listed / static_cast<double>(bare_memory());
  claims.check("memory listed to memory read" + at, memory_ratio, "0.9 to 1.1",
               memory_ratio > 0.9 && memory_ratio < 1.1);

  const int rounds = 60000 / processes;
  const auto exists = in_turns<4>(rounds, {
                                              [&] { check_point.m_GetProcessExistence(kNeedle, found); },
                                              [&] { static_cast<void>(bare_count(kNeedle)); },
                                              [&] { static_cast<void>(library_count(kNeedle)); },
                                              [&] { check_point.m_GetProcessExistence(kSleeper, found); },
                                          });
  claims.note("process exists, microseconds" + at, exists[0] * 1e6);
  claims.note("  getdents and comm alone" + at, exists[1] * 1e6);
  claims.note("  libproc2, number and name" + at, exists[2] * 1e6);
  claims.at_most("process exists to the bare loop" + at, exists[0] / exists[1], 1.3);
  claims.at_most("  the same where every process has the name" + at, exists[3] / exists[1], 1.3);
  claims.at_most("process exists to libproc2" + at, exists[0] / exists[2], 0.5);
  claims.at_most("  the same where every process has the name" + at, exists[3] / exists[2], 0.5);

  const auto list = in_turns<2>(rounds, {
                                            [&] { static_cast<void>(listed_memory(*services, rows)); },
                                            [&] { static_cast<void>(bare_memory()); },
                                        });
  claims.note("list with memory, microseconds" + at, list[0] * 1e6);
  claims.note("  getdents and statm alone" + at, list[1] * 1e6);
  claims.at_most("list with memory to the bare loop" + at, list[0] / list[1], 1.5);
}

/// The smaller value of one file, kept open, as the floor of the memory checks.
void measure_memory(Claims& claims) {
  kvwmi::CheckPoint check_point;
  kvwmi::Currency size;
  check_point.m_GetFreePhysicalMemorySize(size);
  const int meminfo = open("/proc/meminfo", O_RDONLY);
  std::array<char, 8192> text{};
  const auto best = in_turns<2>(20, {
                                        [&] {
                                          for (int i = 0; i < 1000; ++i)
                                            check_point.m_GetFreePhysicalMemorySize(size);
                                        },
                                        [&] {
                                          for (int i = 0; i < 1000; ++i) {
                                            if (pread(meminfo, text.data(), text.size(), 0) <= 0)
                                              std::abort();
                                          }
                                        },
                                    });
  close(meminfo);
  const double kilobytes = std::strtod(std::strstr(text.data(), "MemAvailable:") + 13, nullptr);
  const double ratio = size.to_double() / kilobytes;
  claims.check("free memory checked to free memory read", ratio, "0.9 to 1.1", ratio > 0.9 && ratio < 1.1);
  claims.note("  reading the kept file alone, microseconds", best[1] * 1e3);
  claims.at_most("free memory, microseconds from call to answer", best[0] * 1e3, 10);
}

}  // namespace

int main() {
  Claims claims;
  measure_memory(claims);
  for (const int processes : {500, 2000}) measure(processes, claims);
  return claims.exit_code();
}
