#include "wmi/service.h"

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "frame/text.h"
#include "frame/wmi_status.h"
#include "wmi/cim/object_path.h"
#include "wmi/data_query.h"
#include "wmi/raising_from.h"

namespace kvwmi::embedded {

using wmi::Status;

class Service::State {
 public:
  explicit State(Options options) : options_(std::move(options)) {
    for (const std::string& name :
         {std::string(wmi::kCimv2), std::string(wmi::kDefault), options_.default_namespace}) {
      static_cast<void>(find_or_add(name));
    }
  }

  [[nodiscard]] const Options& options() const { return options_; }

  void add(std::shared_ptr<Provider> provider) {
    const std::lock_guard lock(mutex_);
    Namespace& space = find_or_add(provider->schema().name_space);
    drop(space, provider->schema().name);
    space.providers.push_back(std::move(provider));
  }

  void remove(std::string_view name_space, std::string_view class_name) {
    const std::lock_guard lock(mutex_);
    const auto found = namespaces_.find(cim::normalised_namespace(name_space));
    if (found != namespaces_.end()) drop(found->second, class_name);
  }

  void set_notifier(std::shared_ptr<Notifier> notifier) {
    const std::lock_guard lock(mutex_);
    notifier_ = std::move(notifier);
  }
  [[nodiscard]] std::shared_ptr<Notifier> notifier() {
    const std::lock_guard lock(mutex_);
    return notifier_;
  }

  [[nodiscard]] std::shared_ptr<const Catalog> catalog(std::string_view name_space) {
    const std::lock_guard lock(mutex_);
    const auto found = namespaces_.find(cim::normalised_namespace(name_space));
    if (found == namespaces_.end()) return nullptr;
    Namespace& space = found->second;
    if (!space.catalog) space.catalog = std::make_shared<const Catalog>(space.providers);
    return space.catalog;
  }

  /// The namespace in its own spelling, or nullopt.
  [[nodiscard]] std::optional<std::string> spelling(std::string_view name_space) {
    const std::lock_guard lock(mutex_);
    const auto found = namespaces_.find(cim::normalised_namespace(name_space));
    return found == namespaces_.end() ? std::nullopt : std::optional(found->second.name);
  }

 private:
  struct Namespace {
    std::string name;
    std::vector<std::shared_ptr<Provider>> providers;
    std::shared_ptr<const Catalog> catalog;  // null after a change
  };

  Namespace& find_or_add(std::string_view name) {
    Namespace& space = namespaces_[cim::normalised_namespace(name)];
    if (space.name.empty()) space.name = name;
    return space;
  }

  static void drop(Namespace& space, std::string_view class_name) {
    std::erase_if(space.providers,
                  [&](const auto& other) { return equals_ignoring_case(other->schema().name, class_name); });
    space.catalog.reset();
  }

  const Options options_;
  std::mutex mutex_;
  std::map<std::string, Namespace> namespaces_;  // by normalised name
  std::shared_ptr<Notifier> notifier_;
};

namespace {

/// A query's rows, asked for at the first access and kept; a failure is kept too. What cannot be kept, for
/// lack of memory, leaves the next access to ask again.
class ResultSet final : public wmi::ObjectSet {
 public:
  using Run = std::function<DataQuery::Objects()>;

  ResultSet(Run run, bool forward_only) : run_(std::move(run)), forward_only_(forward_only) {}

  std::int32_t count() override {
    const auto& all = objects();
    if (forward_only_) throw wmi::wmi_error(Status::failed, wmi::source::kObjectSet);
    return static_cast<std::int32_t>(all->size());
  }

  std::unique_ptr<wmi::Enumerator> enumerate() override {
    auto all = objects();
    if (forward_only_ && std::exchange(walked_, true))
      throw wmi::wmi_error(Status::failed, wmi::source::kObjectSet);
    return std::make_unique<Walk>(std::move(all));
  }

 private:
  using Shared = std::shared_ptr<const DataQuery::Objects>;

  class Walk final : public wmi::Enumerator {
   public:
    explicit Walk(Shared objects) : objects_(std::move(objects)) {}
    std::shared_ptr<wmi::Object> next() override {
      return position_ < objects_->size() ? (*objects_)[position_++] : nullptr;
    }

   private:
    Shared objects_;
    std::size_t position_ = 0;
  };

  const Shared& objects() {
    if (run_) {
      try {
        objects_ = std::make_shared<const DataQuery::Objects>(run_());
      } catch (const Error& error) {
        error_ = error;
      }
      run_ = nullptr;
    }
    if (error_) throw *error_;
    return objects_;
  }

  Run run_;
  bool forward_only_;
  bool walked_ = false;
  Shared objects_;
  std::optional<Error> error_;
};

/// What every call checks before it looks at the query itself.
void check_arguments(const std::string& query, const std::string& language) {
  if (query.empty() || language.empty())
    throw wmi::wmi_error(Status::invalid_parameter, wmi::source::kServices);
  if (!equals_ignoring_case(language, wmi::kLanguage)) {
    throw wmi::wmi_error(Status::invalid_query_type, wmi::source::kServices);
  }
}

class Connection final : public wmi::Services {
 public:
  Connection(std::shared_ptr<Service::State> state, cim::Location location)
      : state_(std::move(state)), location_(std::move(location)) {}

  std::shared_ptr<wmi::ObjectSet> exec_query(const std::string& query, const std::string& language,
                                             std::int32_t flags) override {
    check_arguments(query, language);
    constexpr std::int32_t kKnown = wmi::kReturnImmediately | wmi::kForwardOnly;
    if ((flags & ~kKnown) != 0) throw wmi::wmi_error(Status::invalid_parameter, wmi::source::kServices);
    const bool forward_only = (flags & wmi::kForwardOnly) != 0;
    if ((flags & wmi::kReturnImmediately) != 0) {
      return std::make_shared<ResultSet>(
          [state = state_, location = location_, query] {
            return run(*state, location, query, wmi::source::kObjectSet);
          },
          forward_only);
    }
    auto objects = run(*state_, location_, query, wmi::source::kServices);
    return std::make_shared<ResultSet>([objects = std::move(objects)] { return objects; }, forward_only);
  }

  void exec_notification_query_async(const std::shared_ptr<wmi::Sink>& sink, const std::string& query,
                                     const std::string& language, std::int32_t flags,
                                     const wmi::NamedValues* options,
                                     const wmi::NamedValues& context) override {
    check_arguments(query, language);
    if (!sink) throw wmi::wmi_error(Status::invalid_parameter, wmi::source::kServices);
    raising_from(wmi::source::kServices, query, [&] {
      const auto notifier = state_->notifier();
      if (!notifier) throw wmi::wmi_error(Status::not_supported, wmi::source::kServices);
      notifier->subscribe({sink, query, flags, options, context, catalog(*state_, location_), location_,
                           state_->options().limits});
    });
  }

 private:
  static std::shared_ptr<const Catalog> catalog(Service::State& state, const cim::Location& location) {
    return state.catalog(location.name_space);
  }

  static DataQuery::Objects run(Service::State& state, const cim::Location& location,
                                const std::string& query, const char* source) {
    return raising_from(source, query, [&] {
      return DataQuery(query, catalog(state, location), location, state.options().limits).run();
    });
  }

  std::shared_ptr<Service::State> state_;
  cim::Location location_;
};

class EmbeddedLocator final : public wmi::Locator {
 public:
  explicit EmbeddedLocator(std::shared_ptr<Service::State> state) : state_(std::move(state)) {}

  void add_privilege(std::int32_t /*privilege*/, bool /*enabled*/) override {}

  std::shared_ptr<wmi::Services> connect_server(const wmi::ConnectArguments& arguments) override {
    if (!is_here(arguments.server)) throw wmi::wmi_error(Status::transport_failure, wmi::source::kLocator);
    if (!arguments.user.empty() || !arguments.password.empty()) {
      throw wmi::wmi_error(Status::local_credentials, wmi::source::kLocator);
    }
    const Service::Options& options = state_->options();
    const auto name_space =
        state_->spelling(arguments.name_space.empty() ? options.default_namespace : arguments.name_space);
    if (!name_space) throw wmi::wmi_error(Status::invalid_namespace, wmi::source::kLocator);
    return std::make_shared<Connection>(state_, cim::Location{options.server_name, *name_space});
  }

 private:
  [[nodiscard]] bool is_here(const std::string& server) const {
    return server.empty() || server == "." || equals_ignoring_case(server, "localhost") ||
           equals_ignoring_case(server, state_->options().server_name);
  }

  std::shared_ptr<Service::State> state_;
};

}  // namespace

Service::Service() : Service(Options{}) {}
Service::Service(Options options) : state_(std::make_shared<State>(std::move(options))) {}
Service::~Service() = default;

void Service::add(std::shared_ptr<Provider> provider) {
  state_->add(std::move(provider));
}

void Service::remove(std::string_view name_space, std::string_view class_name) {
  state_->remove(name_space, class_name);
}

void Service::set_notifier(std::shared_ptr<Notifier> notifier) {
  state_->set_notifier(std::move(notifier));
}

std::shared_ptr<const Catalog> Service::catalog(std::string_view name_space) const {
  return state_->catalog(name_space);
}

std::unique_ptr<wmi::Locator> Service::create_locator() const {
  return std::make_unique<EmbeddedLocator>(state_);
}

}  // namespace kvwmi::embedded
