#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "frame/ground.h"
#include "frame/runtime_error.h"
#include "frame/text.h"
#include "frame/wmi_status.h"

/// A machine under a test's full control. Everything a test may set or look at afterwards is a public member.
namespace kvwmi::testing {

class FakeObject final : public wmi::Object {
 public:
  explicit FakeObject(wmi::NamedValues values, std::string class_name = "")
      : values_(std::move(values)), class_name_(std::move(class_name)) {}

  wmi::Value get(std::string_view property) override {
    reads.emplace_back(property);
    for (const wmi::NamedValue& entry : values_) {
      if (equals_ignoring_case(entry.name, property)) return entry.value;
    }
    if (equals_ignoring_case(property, "__GENUS")) return wmi::Value(genus);
    if (equals_ignoring_case(property, "__DERIVATION")) return wmi::Value(superclasses);
    throw wmi::wmi_error(wmi::Status::not_found, wmi::source::kObject);
  }
  std::vector<wmi::Property> properties() override {
    std::vector<wmi::Property> result;
    for (const wmi::NamedValue& entry : values_) {
      if (entry.name.starts_with("__")) continue;  // a system property, told by name only
      result.push_back({entry.name, entry.value, wmi::CimType::string, false, false, ""});
    }
    return result;
  }
  std::int32_t call(std::string_view method, const wmi::NamedValues& arguments) override {
    calls.emplace_back(method, arguments);
    return return_code;
  }
  std::string class_name() override { return class_name_; }
  std::string class_description() override { return description; }
  std::vector<wmi::Method> methods() override { return class_methods; }

  std::int32_t genus = 2;  ///< 1 makes it a class, which has what follows
  wmi::Value::Array superclasses;
  std::string description;
  std::vector<wmi::Method> class_methods;

  std::vector<std::string> reads;  ///< properties, as they were asked for

  std::int32_t return_code = 0;
  std::vector<std::pair<std::string, wmi::NamedValues>> calls;

 private:
  wmi::NamedValues values_;
  std::string class_name_;
};

using Objects = std::vector<std::shared_ptr<FakeObject>>;

class FakeObjectSet final : public wmi::ObjectSet {
 public:
  explicit FakeObjectSet(Objects objects) : objects_(std::move(objects)) {}

  std::int32_t count() override { return static_cast<std::int32_t>(objects_.size()); }
  std::unique_ptr<wmi::Enumerator> enumerate() override { return std::make_unique<Walk>(objects_); }

 private:
  class Walk final : public wmi::Enumerator {
   public:
    explicit Walk(Objects objects) : objects_(std::move(objects)) {}
    std::shared_ptr<wmi::Object> next() override {
      return position_ < objects_.size() ? objects_[position_++] : nullptr;
    }

   private:
    Objects objects_;
    std::size_t position_ = 0;
  };

  Objects objects_;
};

class FakeSink final : public wmi::Sink {
 public:
  explicit FakeSink(wmi::ObjectReady ready) : handler(std::move(ready)) {}
  wmi::ObjectReady handler;
};

struct Subscription {
  std::weak_ptr<wmi::Sink> sink;
  std::string name_space;
  std::string query;
  std::string language;
  std::int32_t flags;
  std::optional<wmi::NamedValues> options;
  wmi::NamedValues context;
};

/// What WMI knows. A query's answers are given in turn, the last one again and again; a query without any is
/// empty.
struct FakeWmi {
  bool installed = true;
  std::optional<Error> connect_error;
  std::map<std::string, Error> connect_errors;  ///< by namespace
  std::map<std::string, std::vector<Objects>> answers;
  std::map<std::string, Error> errors;  ///< by query text, data and event queries alike
  std::vector<std::string> queries;     ///< data queries as they were made
  std::function<void()> meanwhile;      ///< what happens while a data query is answered; may be empty
  std::vector<Subscription> subscriptions;
  std::vector<wmi::ConnectArguments> connections;  ///< their `context` pointers dangle; see contexts
  std::vector<std::optional<wmi::NamedValues>> contexts;
  std::vector<std::pair<std::int32_t, bool>> privileges;
  int locators = 0;  ///< alive
  /// Connections and answers, expired where their owner has let go of them.
  std::vector<std::weak_ptr<void>> handed_out;

  /// How many connections and answers somebody still holds.
  [[nodiscard]] std::size_t held() const {
    const auto is_held = [](const std::weak_ptr<void>& object) { return !object.expired(); };
    return static_cast<std::size_t>(std::count_if(handed_out.begin(), handed_out.end(), is_held));
  }
  template <typename T>
  std::shared_ptr<T> hand_out(std::shared_ptr<T> object) {
    handed_out.push_back(object);
    return object;
  }

  void answer(const std::string& query, Objects objects) { answers[query].push_back(std::move(objects)); }

  /// Delivers an event to every living subscription whose query is `query`; tells how many there were.
  int fire(const std::string& query, FakeObject& event) {
    int delivered = 0;
    for (std::size_t i = 0; i < subscriptions.size(); ++i) {
      const Subscription& subscription = subscriptions[i];
      const auto sink = subscription.sink.lock();
      if (!sink || subscription.query != query) continue;
      const wmi::NamedValues context = subscription.context;  // the handler may add subscriptions
      static_cast<FakeSink&>(*sink).handler(event, context);
      ++delivered;
    }
    return delivered;
  }
};

class FakeServices final : public wmi::Services {
 public:
  FakeServices(FakeWmi& wmi, std::string name_space) : wmi_(wmi), name_space_(std::move(name_space)) {}

  std::shared_ptr<wmi::ObjectSet> exec_query(const std::string& query, const std::string&,
                                             std::int32_t) override {
    wmi_.queries.push_back(query);
    if (wmi_.meanwhile) wmi_.meanwhile();
    raise_if_refused(query);
    auto found = wmi_.answers.find(query);
    if (found == wmi_.answers.end()) return wmi_.hand_out(std::make_shared<FakeObjectSet>(Objects{}));
    Objects objects = found->second.front();
    if (found->second.size() > 1) found->second.erase(found->second.begin());
    return wmi_.hand_out(std::make_shared<FakeObjectSet>(std::move(objects)));
  }

  void exec_notification_query_async(const std::shared_ptr<wmi::Sink>& sink, const std::string& query,
                                     const std::string& language, std::int32_t flags,
                                     const wmi::NamedValues* options,
                                     const wmi::NamedValues& context) override {
    raise_if_refused(query);
    wmi_.subscriptions.push_back({sink, name_space_, query, language, flags,
                                  options ? std::optional(*options) : std::nullopt, context});
  }

 private:
  void raise_if_refused(const std::string& query) const {
    if (const auto found = wmi_.errors.find(query); found != wmi_.errors.end()) throw found->second;
  }

  FakeWmi& wmi_;
  std::string name_space_;
};

class FakeLocator final : public wmi::Locator {
 public:
  explicit FakeLocator(FakeWmi& wmi) : wmi_(wmi) { ++wmi_.locators; }
  ~FakeLocator() override { --wmi_.locators; }
  FakeLocator(const FakeLocator&) = delete;
  FakeLocator& operator=(const FakeLocator&) = delete;

  void add_privilege(std::int32_t privilege, bool enabled) override {
    wmi_.privileges.emplace_back(privilege, enabled);
  }
  std::shared_ptr<wmi::Services> connect_server(const wmi::ConnectArguments& arguments) override {
    if (wmi_.connect_error) throw *wmi_.connect_error;
    if (const auto found = wmi_.connect_errors.find(arguments.name_space); found != wmi_.connect_errors.end())
      throw found->second;
    wmi_.connections.push_back(arguments);
    wmi_.contexts.push_back(arguments.context ? std::optional(*arguments.context) : std::nullopt);
    return wmi_.hand_out(std::make_shared<FakeServices>(wmi_, arguments.name_space));
  }

 private:
  FakeWmi& wmi_;
};

/// Time stands still until a test, or a sleep, moves it.
class FakeClock final : public Clock {
 public:
  std::chrono::local_seconds now{std::chrono::seconds(1'000'000)};
  std::vector<std::chrono::milliseconds> sleeps;

  std::chrono::local_seconds local_now() override { return now; }
  void sleep(std::chrono::milliseconds duration) override {
    sleeps.push_back(duration);
    now += std::chrono::duration_cast<std::chrono::seconds>(duration);
  }
};

class FakeSystemInfo : public SystemInfo {
 public:
  std::map<std::int32_t, std::string> messages;
  std::optional<std::int32_t> wow64 = 0;

  std::optional<std::string> message(std::int32_t code) override {
    const auto found = messages.find(code);
    return found == messages.end() ? std::nullopt : std::optional(found->second);
  }
  std::optional<std::int32_t> wow64_process() override { return wow64; }
};

class FakeWindows final : public Windows {
 public:
  std::map<std::string, Handle, std::less<>> open;
  CloseReply reply;
  std::vector<Handle> closed;

  Handle find(std::string_view title) override {
    const auto found = open.find(title);
    return found == open.end() ? 0 : found->second;
  }
  CloseReply close(Handle window) override {
    closed.push_back(window);
    return reply;
  }
};

class FakeTimers final : public Timers {
 public:
  struct Timer {
    std::int32_t milliseconds;
    std::function<void()> tick;
  };
  std::map<Id, Timer> running;
  std::optional<Error> error;  ///< of set
  std::optional<Error> kill_error;

  Id set(std::int32_t milliseconds, std::function<void()> tick) override {
    if (error) throw *error;
    running[++last_] = {milliseconds, std::move(tick)};
    return last_;
  }
  void kill(Id timer) override {
    if (kill_error) throw *kill_error;
    running.erase(timer);
  }

  /// One tick of every running timer; a tick may set and kill timers.
  void fire() {
    for (const auto& [id, timer] : std::map(running)) timer.tick();
  }
  /// The intervals of the running timers in milliseconds, oldest timer first.
  [[nodiscard]] std::vector<std::int32_t> intervals() const {
    std::vector<std::int32_t> result;
    for (const auto& [id, timer] : running) result.push_back(timer.milliseconds);
    return result;
  }

 private:
  Id last_ = 0;
};

class FakeNamedEvents final : public NamedEvents {
 public:
  std::vector<std::string> signalled;
  std::optional<Error> error;
  std::function<void()> on_signal;  ///< what an agent does at once; may replace itself

  void signal(const std::string& name) override {
    if (error) throw *error;
    signalled.push_back(name);
    if (const auto action = on_signal) action();
  }
};

/// Knows the folders it was told of; paths are Windows paths.
class FakeFileSystem final : public FileSystem {
 public:
  std::map<std::string, std::vector<std::string>> folders;
  std::vector<std::string> deleted;
  std::optional<Error> delete_error;

  std::string parent_folder_name(std::string_view path) override {
    const auto end = path.find_last_of('\\');
    return end == std::string_view::npos ? "" : std::string(path.substr(0, end));
  }
  std::string file_name(std::string_view path) override {
    return std::string(path.substr(path.find_last_of('\\') + 1));
  }
  std::vector<std::string> subfolders(const std::string& path) override {
    const auto found = folders.find(path);
    if (found == folders.end()) throw Error(76, kComponentName, "Path not found");
    return found->second;
  }
  bool delete_file(const std::string& path) override {
    deleted.push_back(path);
    if (delete_error) throw *delete_error;
    return true;
  }
  bool matches(std::string_view file_name, std::string_view specification) override {
    if (specification.starts_with('*')) return file_name.ends_with(specification.substr(1));
    return file_name == specification;
  }
};

class FakeIpAddressLibrary final : public IpAddressLibrary {
 public:
  std::int32_t address_result = 0;
  std::int32_t interface_result = 0;
  std::optional<Error> error;
  std::vector<std::pair<std::string, std::string>> address_calls;
  std::vector<std::string> interface_calls;

  std::int32_t iCheckIPAddress(const std::string& definition_file, const std::string& filter) override {
    if (error) throw *error;
    address_calls.emplace_back(definition_file, filter);
    return address_result;
  }
  std::int32_t iCheckNetworkInterfaces(const std::string& definition_file) override {
    if (error) throw *error;
    interface_calls.push_back(definition_file);
    return interface_result;
  }
};

struct FakeGround final : Ground {
  FakeWmi wmi;
  FakeClock fake_clock;
  FakeSystemInfo fake_system_info;
  FakeWindows fake_windows;
  FakeTimers fake_timers;
  FakeNamedEvents fake_named_events;
  FakeFileSystem fake_file_system;
  FakeIpAddressLibrary fake_ip_address_library;

  std::unique_ptr<wmi::Locator> create_locator() override {
    if (!wmi.installed) throw runtime_error(RuntimeError::cannot_create_object);
    return std::make_unique<FakeLocator>(wmi);
  }
  std::shared_ptr<wmi::Sink> create_sink(wmi::ObjectReady handler) override {
    return std::make_shared<FakeSink>(std::move(handler));
  }
  Clock& clock() override { return fake_clock; }
  SystemInfo& system_info() override { return fake_system_info; }
  Windows& windows() override { return fake_windows; }
  Timers& timers() override { return fake_timers; }
  NamedEvents& named_events() override { return fake_named_events; }
  FileSystem& file_system() override { return fake_file_system; }
  IpAddressLibrary& ip_address_library() override { return fake_ip_address_library; }
  std::unique_ptr<ThreadBound>& thread_slot() override {
    const std::scoped_lock lock(slots_mutex_);
    return slots_[std::this_thread::get_id()];
  }

 private:
  std::mutex slots_mutex_;
  std::map<std::thread::id, std::unique_ptr<ThreadBound>> slots_;  // last: what it holds uses the fakes
};

}  // namespace kvwmi::testing
