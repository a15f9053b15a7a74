#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "linux/machine.h"
#include "linux/parsers/cpuinfo.h"
#include "linux/parsers/smbios.h"

namespace kvwmi::ground::providers {

/// What stays the same of the processors while those that are online do. Each part is read when it is first
/// asked for; what cannot be read then raises "Provider failure " and is read again. Any thread may ask.
class ProcessorTopology {
 public:
  /// `online` are the logical processors by number.
  ProcessorTopology(const Machine& machine, std::vector<std::uint32_t> online);

  [[nodiscard]] const std::vector<std::uint32_t>& online() const noexcept { return online_; }
  /// The logical processors of each socket.
  [[nodiscard]] const std::vector<std::vector<std::uint32_t>>& sockets() const noexcept { return sockets_; }

  [[nodiscard]] std::uint64_t cores(std::size_t socket);
  /// All caches of a level together; nullopt where none is told of.
  [[nodiscard]] std::optional<std::uint64_t> cache_kilobytes(std::size_t socket, std::uint64_t level);
  /// Of the socket's first logical processor; null where the machine does not describe it.
  [[nodiscard]] const parsers::CpuInfo* info(std::size_t socket);
  /// What the firmware says of a socket; empty where it does not tell.
  [[nodiscard]] const parsers::ProcessorSocket& firmware(std::size_t socket);

 private:
  template <typename T>
  class Kept {
   public:
    template <typename Read>
    const T& get(Read&& read) {
      const std::lock_guard lock(mutex_);
      if (!value_) value_ = read();
      return *value_;
    }

   private:
    std::mutex mutex_;
    std::optional<T> value_;
  };
  using Kilobytes = std::map<std::uint64_t, std::uint64_t>;  ///< by level

  [[nodiscard]] std::optional<std::string> line(std::uint32_t cpu, const std::string& file) const;
  [[nodiscard]] std::uint64_t count_cores(const std::vector<std::uint32_t>& cpus) const;
  [[nodiscard]] Kilobytes add_caches(const std::vector<std::uint32_t>& cpus) const;

  const Machine& machine_;
  std::vector<std::uint32_t> online_;
  std::vector<std::vector<std::uint32_t>> sockets_;
  Kept<std::vector<std::uint64_t>> cores_;
  Kept<std::vector<Kilobytes>> caches_;
  Kept<std::vector<std::optional<parsers::CpuInfo>>> infos_;
  Kept<std::vector<parsers::ProcessorSocket>> firmware_;
};

}  // namespace kvwmi::ground::providers
