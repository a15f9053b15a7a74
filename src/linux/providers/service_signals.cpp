#include "linux/providers/service_signals.h"

#include <sys/socket.h>

#include <string>
#include <string_view>
#include <system_error>

namespace kvwmi::ground::providers {
namespace {

using namespace std::chrono_literals;

constexpr auto kLimit = 5s;
/// Between two attempts to find the bus.
constexpr auto kRetry = 1s;

struct Match {
  const char* sender;
  const char* interface;
  const char* member;
  const char* more;
  sd_bus_message_handler_t handler;

  [[nodiscard]] std::string text() const {
    return std::string("type='signal',sender='") + sender + "',interface='" + interface + "',member='" +
           member + '\'' + more;
  }
};

bool is_service(const char* name, std::string_view ending) {
  return name != nullptr && std::string_view(name).ends_with(ending);
}

}  // namespace

/// As long as it lives, the manager is heard.
class ServiceSignals::Hearing {
 public:
  Hearing(ServiceSignals& signals, sd_bus* bus) : signals_(signals) {
    const std::lock_guard lock(signals_.mutex_);
    ++signals_.count_;  // for all that happened unheard
    signals_.connection_ = sd_bus_get_fd(bus);
  }
  ~Hearing() {
    const std::lock_guard lock(signals_.mutex_);
    signals_.connection_ = -1;
  }
  Hearing(const Hearing&) = delete;
  Hearing& operator=(const Hearing&) = delete;

 private:
  ServiceSignals& signals_;
};

ServiceSignals::~ServiceSignals() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    changed_.notify_all();
    // Wakes the thread where it waits for signals.
    if (connection_ >= 0) shutdown(connection_, SHUT_RDWR);
  }
  if (thread_.joinable()) thread_.join();
}

std::optional<std::uint64_t> ServiceSignals::count() {
  const std::lock_guard lock(mutex_);
  asked_ = Clock::now();
  if (!running_) {
    if (thread_.joinable()) thread_.join();  // it has let go of the lock for the last time
    try {
      thread_ = std::thread([this] { run(); });
      running_ = true;
    } catch (const std::system_error&) {
      // No room for a thread now.
    }
  }
  return connection_ >= 0 ? std::optional(count_) : std::nullopt;
}

ServiceSignals::Clock::time_point ServiceSignals::wanted_until() {
  const std::lock_guard lock(mutex_);
  return stopping_ ? Clock::time_point::min() : asked_ + unasked_;
}

void ServiceSignals::run() {
  std::unique_lock lock(mutex_);
  while (!stopping_ && Clock::now() < asked_ + unasked_) {
    lock.unlock();
    try {
      listen();
    } catch (const std::exception&) {
      // Lost, or not there yet.
    }
    lock.lock();
    if (!replaced_) changed_.wait_for(lock, kRetry, [this] { return stopping_; });
  }
  running_ = false;
}

void ServiceSignals::listen() {
  const char* const manager = kServiceManager.service;
  const Match matches[]{
      {manager, kPropertiesInterface, "PropertiesChanged",
       ",path_namespace='/org/freedesktop/systemd1/unit',arg0='org.freedesktop.systemd1.Unit'",
       &on_properties},
      {manager, kServiceManager.interface, "UnitNew", "", &on_unit},
      {manager, kServiceManager.interface, "UnitRemoved", "", &on_unit},
      {manager, kServiceManager.interface, "UnitFilesChanged", "", &on_files},
      {manager, kServiceManager.interface, "Reloading", "", &on_files},
      {"org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged", ",arg0='org.freedesktop.systemd1'",
       &on_owner},
  };
  replaced_ = false;
  const Bus bus = connect(machine_, kLimit);
  for (const Match& match : matches) {
    check(sd_bus_add_match_async(bus.get(), nullptr, match.text().c_str(), match.handler, nullptr, this));
  }
  // Its answer comes after the bus has taken the matches.
  call(bus.get(), kServiceManager, "Subscribe", kLimit);
  const Hearing hearing(*this, bus.get());
  for (auto end = wanted_until(); !replaced_ && Clock::now() < end; end = wanted_until()) {
    static_cast<void>(work_until(bus.get(), end, [this] { return replaced_; }));
  }
}

void ServiceSignals::count_one() {
  const std::lock_guard lock(mutex_);
  ++count_;
}

int ServiceSignals::on_unit(sd_bus_message* message, void* self, sd_bus_error*) {
  const char* unit = nullptr;
  sd_bus_message_read_basic(message, 's', &unit);
  if (is_service(unit, ".service")) static_cast<ServiceSignals*>(self)->count_one();
  return 0;
}

int ServiceSignals::on_properties(sd_bus_message* message, void* self, sd_bus_error*) {
  // A unit's path is its name with the full stops in hexadecimal.
  if (is_service(sd_bus_message_get_path(message), "_2eservice")) {
    static_cast<ServiceSignals*>(self)->count_one();
  }
  return 0;
}

int ServiceSignals::on_files(sd_bus_message*, void* self, sd_bus_error*) {
  static_cast<ServiceSignals*>(self)->count_one();
  return 0;
}

int ServiceSignals::on_owner(sd_bus_message*, void* self, sd_bus_error*) {
  static_cast<ServiceSignals*>(self)->replaced_ = true;
  return 0;
}

}  // namespace kvwmi::ground::providers
