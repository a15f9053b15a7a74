#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "linux/testing/fake_bus.h"

namespace kvwmi::ground::testing {

/// A unit of the fake manager with what the real one tells of it.
struct FakeUnit {
  std::string unit;
  std::string description;
  std::string active_state = "inactive";
  std::string load_state = "loaded";
  std::string unit_file_state = "disabled";
  std::string type = "simple";
  std::string result = "success";
  std::string user{};
  std::vector<std::string> command{};
  std::vector<std::string> required_by{};
  bool can_stop = true;
  bool condition_result = true;
  std::uint32_t main_process = 0;
  std::int32_t exit_code = 0;
  std::int32_t exit_status = 0;
};

/// The service manager at the other end of a FakeBus, with the units that a test gives it.
class FakeServiceManager {
 public:
  std::vector<FakeUnit> units;
  std::map<std::string, std::string> file_states{};  ///< of unit files, by unit
  std::string refused_method{};  ///< that is answered with `refusal`, the name of an error
  std::string refusal{};
  std::string job_result = "done";
  /// What a job does to its unit.
  std::function<void(FakeUnit&)> job = [](FakeUnit&) {};

  FakeUnit& unit(std::string_view name) {
    const auto found =
        std::find_if(units.begin(), units.end(), [&](const auto& u) { return u.unit == name; });
    if (found == units.end()) throw std::runtime_error("no unit " + std::string(name));
    return *found;
  }

  int answer(sd_bus_message* call) {
    const std::string_view method = sd_bus_message_get_member(call);
    if (method == refused_method) return sd_bus_reply_method_errorf(call, refusal.c_str(), "no");
    if (method == "ListUnits") return list(call, [](const FakeUnit&) { return true; });
    if (method == "ListUnitsByNames") {
      const std::vector<std::string> names = texts(call);
      return list(call, [&](const FakeUnit& unit) {
        return std::find(names.begin(), names.end(), unit.unit) != names.end();
      });
    }
    if (method == "Get") return sd_bus_reply_method_return(call, "v", "as", 1, "/units");
    if (method == "GetUnitFileState") return tell_file_state(call);
    if (method == "GetAll") return tell_all(call);
    if (method == "LoadUnit") return sd_bus_reply_method_return(call, "o", path_of(unit(text(call))).c_str());
    if (method == "StartUnit" || method == "StopUnit") return run_job(call);
    return sd_bus_reply_method_return(call, nullptr);
  }

 private:
  static std::string text(sd_bus_message* call) {
    const char* held = "";
    sd_bus_message_read(call, "s", &held);
    return held;
  }
  static std::vector<std::string> texts(sd_bus_message* call) {
    std::vector<std::string> held;
    sd_bus_message_enter_container(call, 'a', "s");
    for (const char* one = nullptr; sd_bus_message_read(call, "s", &one) > 0;) held.emplace_back(one);
    return held;
  }
  std::string path_of(const FakeUnit& unit) const { return "/unit/" + std::to_string(&unit - units.data()); }

  template <typename Wanted>
  int list(sd_bus_message* call, Wanted&& wanted) {
    const providers::Message answer = begin(call);
    sd_bus_message_open_container(answer.get(), 'a', "(ssssssouso)");
    for (const FakeUnit& unit : units) {
      if (!wanted(unit)) continue;
      sd_bus_message_append(answer.get(), "(ssssssouso)", unit.unit.c_str(), unit.description.c_str(),
                            unit.load_state.c_str(), unit.active_state.c_str(), "", "", path_of(unit).c_str(),
                            0U, "", "/");
    }
    sd_bus_message_close_container(answer.get());
    return sd_bus_send(nullptr, answer.get(), nullptr);
  }

  int tell_file_state(sd_bus_message* call) {
    const auto found = file_states.find(text(call));
    if (found == file_states.end())
      return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FILE_NOT_FOUND, "no");
    return sd_bus_reply_method_return(call, "s", found->second.c_str());
  }

  int tell_all(sd_bus_message* call) {
    const auto number = std::stoul(std::string(sd_bus_message_get_path(call)).substr(6));
    const FakeUnit& unit = units.at(number);
    const providers::Message answer = begin(call);
    sd_bus_message* to = answer.get();
    const auto add = [to](const char* name, const char* type, auto value) {
      sd_bus_message_append(to, "{sv}", name, type, value);
    };
    sd_bus_message_open_container(to, 'a', "{sv}");
    if (text(call) == "org.freedesktop.systemd1.Unit") {
      add("Id", "s", unit.unit.c_str());
      add("LoadState", "s", unit.load_state.c_str());
      add("ActiveState", "s", unit.active_state.c_str());
      add("UnitFileState", "s", unit.unit_file_state.c_str());
      add("CanStop", "b", static_cast<int>(unit.can_stop));
      add("ConditionResult", "b", static_cast<int>(unit.condition_result));
      add_texts(to, "RequiredBy", "as", unit.required_by);
    } else {
      add("Type", "s", unit.type.c_str());
      add("Result", "s", unit.result.c_str());
      add("User", "s", unit.user.c_str());
      add("MainPID", "u", unit.main_process);
      add("ExecMainCode", "i", unit.exit_code);
      add("ExecMainStatus", "i", unit.exit_status);
      add_texts(to, "ExecStart", "a(sasbttttuii)", unit.command);
    }
    sd_bus_message_close_container(to);
    return sd_bus_send(nullptr, to, nullptr);
  }

  /// A property that is a list of texts, or of one command with them.
  static void add_texts(sd_bus_message* to, const char* name, const std::string& type,
                        const std::vector<std::string>& texts) {
    const bool is_command = type != "as";
    sd_bus_message_open_container(to, 'e', "sv");
    sd_bus_message_append(to, "s", name);
    sd_bus_message_open_container(to, 'v', type.c_str());
    if (is_command) {
      sd_bus_message_open_container(to, 'a', "(sasbttttuii)");
      sd_bus_message_open_container(to, 'r', "sasbttttuii");
      sd_bus_message_append(to, "s", "/bin/program");
    }
    sd_bus_message_open_container(to, 'a', "s");
    for (const std::string& one : texts) sd_bus_message_append(to, "s", one.c_str());
    sd_bus_message_close_container(to);
    if (is_command) {
      constexpr std::uint64_t kNever = 0;
      sd_bus_message_append(to, "bttttuii", 0, kNever, kNever, kNever, kNever, 0U, 0, 0);
      sd_bus_message_close_container(to);
      sd_bus_message_close_container(to);
    }
    sd_bus_message_close_container(to);
    sd_bus_message_close_container(to);
  }

  int run_job(sd_bus_message* call) {
    FakeUnit& of = unit(text(call));
    job(of);
    const int sent = sd_bus_reply_method_return(call, "o", "/job/1");
    emit(call, providers::kServiceManager, "JobRemoved", "uoss", 1U, "/job/1", of.unit.c_str(),
         job_result.c_str());
    return sent;
  }

  static providers::Message begin(sd_bus_message* call) {
    sd_bus_message* made = nullptr;
    providers::check(sd_bus_message_new_method_return(call, &made));
    return providers::Message(made);
  }
};

}  // namespace kvwmi::ground::testing
