#include "linux/providers/processor_topology.h"

#include <algorithm>
#include <cerrno>
#include <set>

#include "linux/parsers/scan.h"
#include "linux/providers/failure.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {
namespace {

/// What `read` gives; nullopt where the machine has no such file or keeps it to itself, which will not
/// change.
template <typename Text>
Text told(Text read) {
  if (!read && errno != ENOENT && errno != ENOTDIR && errno != EACCES) throw provider_failure();
  return read;
}

}  // namespace

ProcessorTopology::ProcessorTopology(const Machine& machine, std::vector<std::uint32_t> online)
    : machine_(machine), online_(std::move(online)) {
  std::map<std::uint64_t, std::vector<std::uint32_t>> packages;
  for (const std::uint32_t cpu : online_) {
    const auto package = line(cpu, "topology/physical_package_id");
    const auto socket = package ? parsers::to_number(*package) : std::nullopt;
    packages[socket.value_or(0)].push_back(cpu);
  }
  for (auto& [package, cpus] : packages) sockets_.push_back(std::move(cpus));
}

std::uint64_t ProcessorTopology::cores(std::size_t socket) {
  const auto read = [this] {
    std::vector<std::uint64_t> counts;
    for (const auto& cpus : sockets_) counts.push_back(count_cores(cpus));
    return counts;
  };
  return cores_.get(read)[socket];
}

std::optional<std::uint64_t> ProcessorTopology::cache_kilobytes(std::size_t socket, std::uint64_t level) {
  const auto read = [this] {
    std::vector<Kilobytes> sums;
    for (const auto& cpus : sockets_) sums.push_back(add_caches(cpus));
    return sums;
  };
  const Kilobytes& by_level = caches_.get(read)[socket];
  const auto found = by_level.find(level);
  return found == by_level.end() ? std::nullopt : std::optional(found->second);
}

const parsers::CpuInfo* ProcessorTopology::info(std::size_t socket) {
  const auto read = [this] {
    const auto all = parsers::parse_cpuinfo(told(read_file(machine_.proc + "/cpuinfo")).value_or(""));
    std::vector<std::optional<parsers::CpuInfo>> infos;
    for (const auto& cpus : sockets_) {
      const auto found =
          std::find_if(all.begin(), all.end(), [&](const auto& info) { return info.cpu == cpus.front(); });
      infos.push_back(found == all.end() ? std::nullopt : std::optional(*found));
    }
    return infos;
  };
  const auto& info = infos_.get(read)[socket];
  return info ? &*info : nullptr;
}

const parsers::ProcessorSocket& ProcessorTopology::firmware(std::size_t socket) {
  const auto read = [this] {
    auto told_of = parsers::parse_processor_sockets(
        told(read_file(machine_.sys + "/firmware/dmi/tables/DMI")).value_or(""));
    // The firmware's table and the kernel number the sockets in the same order, but only where both know of
    // as many is it certain which is which.
    if (told_of.size() != sockets_.size()) told_of.assign(sockets_.size(), {});
    return told_of;
  };
  return firmware_.get(read)[socket];
}

std::optional<std::string> ProcessorTopology::line(std::uint32_t cpu, const std::string& file) const {
  return told(read_line(machine_.sys + "/devices/system/cpu/cpu" + std::to_string(cpu) + "/" + file));
}

std::uint64_t ProcessorTopology::count_cores(const std::vector<std::uint32_t>& cpus) const {
  std::set<std::string> cores;
  for (const std::uint32_t cpu : cpus) {
    // The threads of a core name each other. Its number is unique only within a die or cluster and is asked
    // of kernels that tell no better; without a topology every logical processor counts as a core.
    std::optional<std::string> core;
    for (const char* file : {"core_cpus_list", "thread_siblings_list", "core_id"}) {
      if (!core) core = line(cpu, std::string("topology/") + file);
    }
    cores.insert(core.value_or("cpu" + std::to_string(cpu)));
  }
  return cores.size();
}

ProcessorTopology::Kilobytes ProcessorTopology::add_caches(const std::vector<std::uint32_t>& cpus) const {
  Kilobytes sums;
  std::set<std::pair<std::uint64_t, std::string>> counted;
  for (const std::uint32_t cpu : cpus) {
    for (int index = 0; index < 8; ++index) {
      const std::string folder = "cache/index" + std::to_string(index) + "/";
      const auto at = line(cpu, folder + "level");
      if (!at) break;
      const auto level = parsers::to_number(*at);
      if (!level || *level < 2) continue;
      // A cache that several processors share is one.
      const std::string owners = line(cpu, folder + "shared_cpu_list").value_or(std::to_string(cpu));
      if (!counted.emplace(*level, owners).second) continue;
      sums[*level] += parsers::parse_size_kilobytes(line(cpu, folder + "size").value_or("")).value_or(0);
    }
  }
  return sums;
}

}  // namespace kvwmi::ground::providers
