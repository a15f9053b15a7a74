#include "linux/providers/service_manager.h"

#include <algorithm>
#include <utility>

namespace kvwmi::ground::providers {
namespace {

using namespace std::chrono_literals;

constexpr BusObject kManagerProperties{kServiceManager.service, kServiceManager.path, kPropertiesInterface};

/// Of one call. A manager that answers at all answers in milliseconds, but may be reloading.
constexpr auto kLimit = 5s;

/// A service that starts without a word of its own is reported started before its program is executed; so
/// long it takes at most till that has failed.
constexpr auto kExecuteTime = 20ms;

std::vector<Unit> read_units(const Message& answer) {
  std::vector<Unit> units;
  check(sd_bus_message_enter_container(answer.get(), 'a', "(ssssssouso)"));
  const char* unit = nullptr;
  const char* description = nullptr;
  const char* load_state = nullptr;
  const char* active_state = nullptr;
  const char* path = nullptr;
  while (check(sd_bus_message_read(answer.get(), "(ssssssouso)", &unit, &description, &load_state,
                                   &active_state, nullptr, nullptr, &path, nullptr, nullptr, nullptr)) > 0) {
    units.push_back({unit, description, load_state, active_state, path});
  }
  return units;
}

std::vector<std::string> read_texts(sd_bus_message* message) {
  std::vector<std::string> texts;
  check(sd_bus_message_enter_container(message, 'a', "s"));
  const char* text = nullptr;
  while (check(sd_bus_message_read_basic(message, 's', &text)) > 0) texts.emplace_back(text);
  check(sd_bus_message_exit_container(message));
  return texts;
}

/// The arguments of the first of a unit's commands.
std::vector<std::string> read_command(sd_bus_message* message) {
  std::vector<std::string> command;
  check(sd_bus_message_enter_container(message, 'a', "(sasbttttuii)"));
  while (check(sd_bus_message_enter_container(message, 'r', "sasbttttuii")) > 0) {
    check(sd_bus_message_skip(message, "s"));
    std::vector<std::string> arguments = read_texts(message);
    if (command.empty()) command = std::move(arguments);
    check(sd_bus_message_skip(message, "bttttuii"));
    check(sd_bus_message_exit_container(message));
  }
  check(sd_bus_message_exit_container(message));
  return command;
}

void read(sd_bus_message* message, std::string& into) {
  const char* text = nullptr;
  check(sd_bus_message_read_basic(message, 's', &text));
  into = text;
}
void read(sd_bus_message* message, bool& into) {
  int truth = 0;
  check(sd_bus_message_read_basic(message, 'b', &truth));
  into = truth != 0;
}
void read(sd_bus_message* message, std::uint32_t& into) {
  check(sd_bus_message_read_basic(message, 'u', &into));
}
void read(sd_bus_message* message, std::int32_t& into) {
  check(sd_bus_message_read_basic(message, 'i', &into));
}

/// Takes one property into the details; false for one that they do not hold.
bool read_property(sd_bus_message* message, std::string_view name, UnitDetails& details) {
  const auto take = [&](std::string_view wanted, const char* type, auto& into) {
    if (name != wanted) return false;
    check(sd_bus_message_enter_container(message, 'v', type));
    read(message, into);
    check(sd_bus_message_exit_container(message));
    return true;
  };
  if (name == "RequiredBy" || name == "BoundBy" || name == "ConsistsOf") {
    check(sd_bus_message_enter_container(message, 'v', "as"));
    for (std::string& unit : read_texts(message)) details.needed_by.push_back(std::move(unit));
    check(sd_bus_message_exit_container(message));
    return true;
  }
  if (name == "ExecStart") {
    check(sd_bus_message_enter_container(message, 'v', "a(sasbttttuii)"));
    details.command = read_command(message);
    check(sd_bus_message_exit_container(message));
    return true;
  }
  return take("UnitFileState", "s", details.unit_file_state) || take("LoadState", "s", details.load_state) ||
         take("ActiveState", "s", details.active_state) || take("CanStop", "b", details.can_stop) ||
         take("ConditionResult", "b", details.conditions_met) || take("User", "s", details.user) ||
         take("Type", "s", details.type) || take("Result", "s", details.result) ||
         take("MainPID", "u", details.main_process) || take("ExecMainCode", "i", details.exit_code) ||
         take("ExecMainStatus", "i", details.exit_status);
}

/// The unit's object; loads a unit that is not loaded.
std::string object_of(sd_bus* bus, const std::string& unit) {
  const Message answer = call(bus, kServiceManager, "LoadUnit", kLimit, "s", unit.c_str());
  const char* path = nullptr;
  check(sd_bus_message_read_basic(answer.get(), 'o', &path));
  return path;
}

UnitDetails read_details(sd_bus* bus, const std::string& path) {
  UnitDetails details;
  const BusObject object{kServiceManager.service, path.c_str(), kPropertiesInterface};
  for (const char* interface : {"org.freedesktop.systemd1.Unit", "org.freedesktop.systemd1.Service"}) {
    const Message answer = call(bus, object, "GetAll", kLimit, "s", interface);
    check(sd_bus_message_enter_container(answer.get(), 'a', "{sv}"));
    while (check(sd_bus_message_enter_container(answer.get(), 'e', "sv")) > 0) {
      const char* name = nullptr;
      check(sd_bus_message_read_basic(answer.get(), 's', &name));
      if (!read_property(answer.get(), name, details)) check(sd_bus_message_skip(answer.get(), "v"));
      check(sd_bus_message_exit_container(answer.get()));
    }
  }
  return details;
}

/// What the manager shows for a unit that it has not loaded.
std::string description_of(sd_bus* bus, const std::string& unit) {
  const std::string path = object_of(bus, unit);
  const BusObject object{kServiceManager.service, path.c_str(), kPropertiesInterface};
  const Message answer =
      call(bus, object, "Get", kLimit, "ss", "org.freedesktop.systemd1.Unit", "Description");
  const char* text = nullptr;
  check(sd_bus_message_read(answer.get(), "v", "s", &text));
  return text;
}

std::vector<std::string> unit_folders(sd_bus* bus) {
  const Message answer =
      call(bus, kManagerProperties, "Get", kLimit, "ss", kServiceManager.interface, "UnitPath");
  check(sd_bus_message_enter_container(answer.get(), 'v', "as"));
  return read_texts(answer.get());
}

/// Waits for the end of one job.
struct JobWatch {
  std::string job;
  std::map<std::string, std::string> ended;  ///< results by job

  static int on_removed(sd_bus_message* message, void* self, sd_bus_error*) {
    const char* job = nullptr;
    const char* result = nullptr;
    if (sd_bus_message_read(message, "uoss", nullptr, &job, nullptr, &result) >= 0) {
      static_cast<JobWatch*>(self)->ended[job] = result;
    }
    return 0;
  }
};

}  // namespace

bool is_running(std::string_view active_state) {
  return active_state == "active" || active_state == "reloading" || active_state == "refreshing";
}
bool is_starting(std::string_view active_state) {
  return active_state == "activating";
}
bool is_stopped(std::string_view active_state) {
  return active_state == "inactive" || active_state == "failed";
}

std::vector<Unit> ServiceManager::services() {
  return bus_.with([this](sd_bus* bus) {
    std::vector<Unit> units = read_units(call(bus, kServiceManager, "ListUnits", kLimit));
    // Units that others name and nobody has are no services; one that runs may have lost its file.
    std::erase_if(units, [](const Unit& unit) {
      return !unit.unit.ends_with(".service") ||
             (unit.load_state == "not-found" && is_stopped(unit.active_state));
    });
    std::sort(units.begin(), units.end(), [](const Unit& a, const Unit& b) { return a.unit < b.unit; });
    const std::size_t loaded = units.size();
    const auto minute = std::chrono::floor<std::chrono::minutes>(machine_.running_time());
    auto told_before = std::exchange(told_, {});
    for (UnitFile& file : files_.list(unit_folders(bus))) {
      const auto end = units.begin() + static_cast<std::ptrdiff_t>(loaded);
      const auto place =
          std::lower_bound(units.begin(), end, file.unit,
                           [](const Unit& unit, const std::string& name) { return unit.unit < name; });
      if (place != end && place->unit == file.unit) continue;
      if (!file.description) {
        // The manager may read what this process may not.
        Told& told = told_[file.unit] = std::move(told_before[file.unit]);
        if (told.at != minute || told.files != file.stamps) {
          told = {minute, std::move(file.stamps), description_of(bus, file.unit)};
        }
        file.description = told.description;
      }
      units.push_back({std::move(file.unit), std::move(*file.description), file.masked ? "masked" : "loaded",
                       "inactive", ""});
    }
    std::inplace_merge(units.begin(), units.begin() + static_cast<std::ptrdiff_t>(loaded), units.end(),
                       [](const Unit& a, const Unit& b) { return a.unit < b.unit; });
    return units;
  });
}

std::optional<std::uint64_t> ServiceManager::changes() {
  const auto heard = signals_.count();
  const auto files = files_.changes();
  if (!heard || !files) return std::nullopt;
  // Each only grows, so the sum differs where one of them does. What changes without a word, such as a unit
  // file that is rewritten in its place, is found within a minute.
  const auto minutes = std::chrono::floor<std::chrono::minutes>(machine_.running_time()).count();
  return *heard + *files + static_cast<std::uint64_t>(minutes);
}

UnitDetails ServiceManager::details(const Unit& unit) {
  return bus_.with([&](sd_bus* bus) {
    return read_details(bus, unit.path.empty() ? object_of(bus, unit.unit) : unit.path);
  });
}

std::optional<std::string> ServiceManager::unit_file_state(const std::string& unit) {
  try {
    return bus_.with([&](sd_bus* bus) -> std::string {
      const Message answer = call(bus, kServiceManager, "GetUnitFileState", kLimit, "s", unit.c_str());
      const char* state = nullptr;
      check(sd_bus_message_read_basic(answer.get(), 's', &state));
      return state;
    });
  } catch (const BusError&) {
    return std::nullopt;  // its file has gone or has faults
  }
}

std::vector<std::string> ServiceManager::running_of(const std::vector<std::string>& units) {
  if (units.empty()) return {};
  return bus_.with([&](sd_bus* bus) {
    sd_bus_message* made = nullptr;
    check(sd_bus_message_new_method_call(bus, &made, kServiceManager.service, kServiceManager.path,
                                         kServiceManager.interface, "ListUnitsByNames"));
    Message request(made);
    check(sd_bus_message_open_container(request.get(), 'a', "s"));
    for (const std::string& unit : units) check(sd_bus_message_append(request.get(), "s", unit.c_str()));
    check(sd_bus_message_close_container(request.get()));
    std::vector<std::string> running;
    for (Unit& unit : read_units(send(bus, std::move(request), kLimit))) {
      if (is_running(unit.active_state) || is_starting(unit.active_state)) {
        running.push_back(std::move(unit.unit));
      }
    }
    return running;
  });
}

ServiceManager::JobEnd ServiceManager::start(const Unit& unit, std::chrono::milliseconds limit) {
  return run_job("StartUnit", unit, limit);
}

ServiceManager::JobEnd ServiceManager::stop(const Unit& unit, std::chrono::milliseconds limit) {
  return run_job("StopUnit", unit, limit);
}

ServiceManager::JobEnd ServiceManager::run_job(const char* method, const Unit& unit,
                                               std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  const Bus bus = connect(machine_);
  // The signal may come before the answer that names the job, so all of them are kept from here on.
  JobWatch watch;
  sd_bus_slot* made = nullptr;
  check(sd_bus_match_signal(bus.get(), &made, kServiceManager.service, kServiceManager.path,
                            kServiceManager.interface, "JobRemoved", JobWatch::on_removed, &watch));
  const Slot slot(made);
  call(bus.get(), kServiceManager, "Subscribe", kLimit);
  try {
    // A unit that has ended is forgotten with all that became of it, unless somebody holds it.
    call(bus.get(), kServiceManager, "RefUnit", kLimit, "s", unit.unit.c_str());
  } catch (const BusError&) {
    // The request itself will say what is wrong.
  }
  const Message answer = call(bus.get(), kServiceManager, method, limit, "ss", unit.unit.c_str(), "replace");
  const char* job = nullptr;
  check(sd_bus_message_read_basic(answer.get(), 'o', &job));

  static_cast<void>(work_until(bus.get(), deadline, [&] { return watch.ended.contains(job); }));

  JobEnd end;
  if (const auto ended = watch.ended.find(job); ended != watch.ended.end()) end.result = ended->second;
  const std::string path = object_of(bus.get(), unit.unit);
  end.details = read_details(bus.get(), path);
  if (end.result == "done" && end.details.active_state == "active" && end.details.main_process != 0 &&
      (end.details.type == "simple" || end.details.type == "idle")) {
    machine_.sleep(kExecuteTime);
    end.details = read_details(bus.get(), path);
  }
  return end;
}

}  // namespace kvwmi::ground::providers
