#include "wmi/memory_provider.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <stdexcept>

namespace kvwmi::embedded {
namespace {

constexpr std::size_t kMostMethods = 16;

/// A value that shares no object with the original, so that two threads can read them.
cim::Value copy_of(const cim::Value& value) {
  if (const auto* elements = value.get_if<cim::Value::Array>()) {
    cim::Value::Array copies;
    for (const cim::Value& element : *elements) copies.push_back(copy_of(element));
    return copies;
  }
  const auto* object = value.get_if<std::shared_ptr<cim::Instance>>();
  if (object == nullptr || *object == nullptr) return value;
  auto copy = std::make_shared<cim::Instance>((*object)->schema());
  for (std::size_t column = 0; column < copy->schema().properties.size(); ++column) {
    copy->set(column, copy_of((*object)->get(column)));
  }
  return copy;
}

}  // namespace

/// The strings of a class and the schema made of them.
class MemoryProvider::Definition {
 public:
  explicit Definition(MemoryClass source);
  Definition(const Definition&) = delete;
  Definition& operator=(const Definition&) = delete;

  [[nodiscard]] const cim::Class& schema() const { return schema_; }
  [[nodiscard]] std::uint32_t call(std::size_t method, std::size_t row,
                                   std::span<const cim::Value> arguments) const {
    return source_.methods[method].call(row, arguments);
  }

 private:
  MemoryClass source_;
  std::vector<std::string_view> superclasses_;
  std::vector<cim::Property> properties_;
  std::vector<std::vector<cim::Parameter>> parameters_;
  std::vector<cim::Method> methods_;
  cim::Class schema_{};
};

class MemoryProvider::Row final : public cim::Instance {
 public:
  Row(std::shared_ptr<const Definition> definition, std::size_t number)
      : Instance(definition->schema()), definition_(std::move(definition)), number_(number) {}

  /// A schema's methods are plain functions: one for each place that a method can have in the class.
  template <std::size_t method>
  static std::uint32_t call(cim::Instance& self, std::span<const cim::Value> arguments) {
    const auto& row = static_cast<const Row&>(self);
    return row.definition_->call(method, row.number_, arguments);
  }

 private:
  std::shared_ptr<const Definition> definition_;
  std::size_t number_;
};

MemoryProvider::Definition::Definition(MemoryClass source) : source_(std::move(source)) {
  constexpr auto kCalls = []<std::size_t... method>(std::index_sequence<method...>) {
    return std::array{&Row::call<method>...};
  }
  (std::make_index_sequence<kMostMethods>());
  if (source_.methods.size() > kMostMethods)
    throw std::length_error("a class in memory has at most 16 methods");

  superclasses_.assign(source_.superclasses.begin(), source_.superclasses.end());
  for (const auto& p : source_.properties) {
    properties_.push_back({p.name, p.type, p.flags, p.cost, p.description, nullptr});
  }
  for (const auto& m : source_.methods) {
    auto& parameters = parameters_.emplace_back();
    for (const auto& p : m.in) parameters.push_back({p.name, p.type});
  }
  for (std::size_t i = 0; i < source_.methods.size(); ++i) {
    methods_.push_back({source_.methods[i].name, parameters_[i], source_.methods[i].description, kCalls[i]});
  }
  schema_ = cim::Class{.name = source_.name,
                       .superclasses = superclasses_,
                       .description = source_.description,
                       .properties = properties_,
                       .methods = methods_,
                       .name_space = source_.name_space,
                       .is_abstract = source_.is_abstract};
}

MemoryProvider::MemoryProvider(MemoryClass definition)
    : definition_(std::make_shared<const Definition>(std::move(definition))),
      column_changes_(schema().properties.size()),
      vouched_for_(schema().properties.size(), true) {}
MemoryProvider::~MemoryProvider() = default;

const cim::Class& MemoryProvider::schema() const {
  return definition_->schema();
}

void MemoryProvider::enumerate(const Request& request, const RowSink& sink) {
  std::vector<std::shared_ptr<Row>> rows;
  {
    const std::lock_guard lock(mutex_);
    ++enumerations_;
    last_equalities_.assign(request.any_of.begin(), request.any_of.end());
    last_columns_.assign(request.columns.begin(), request.columns.end());
    if (error_) throw *error_;
    advance_counters();
    seen_changes_ = changes();
    for (const Stored& stored : rows_) {
      auto& row = *rows.emplace_back(std::make_shared<Row>(definition_, stored.number));
      for (std::size_t i = 0; i < stored.values.size(); ++i) row.set(i, copy_of(stored.values[i]));
    }
  }
  for (auto& row : rows) {
    if (!sink(std::move(row))) return;
  }
}

std::optional<std::uint64_t> MemoryProvider::change_token(std::span<const std::size_t> columns) {
  const std::lock_guard lock(mutex_);
  std::uint64_t changes = row_changes_;  // all of these only grow
  for (const std::size_t column : columns) {
    if (!vouched_for_[column]) return std::nullopt;
    changes += column_changes_[column];
  }
  return changes;
}

void MemoryProvider::vouch_only_for(const std::vector<std::string>& properties) {
  std::vector<bool> vouched_for(schema().properties.size());
  for (const std::string& property : properties) vouched_for[column(property)] = true;
  const std::lock_guard lock(mutex_);
  vouched_for_ = std::move(vouched_for);
}

std::size_t MemoryProvider::column(std::string_view property) const {
  const auto found = schema().find_property(property);
  if (!found)
    throw std::invalid_argument(std::string(schema().name) + " has no property " + std::string(property));
  return *found;
}

MemoryProvider::Stored* MemoryProvider::find(std::size_t row) {
  const auto found =
      std::find_if(rows_.begin(), rows_.end(), [&](const Stored& stored) { return stored.number == row; });
  return found == rows_.end() ? nullptr : &*found;
}

std::size_t MemoryProvider::add(const Values& values) {
  Stored stored{0, std::vector<cim::Value>(schema().properties.size())};
  for (const auto& [name, value] : values) stored.values[column(name)] = value;
  const std::lock_guard lock(mutex_);
  stored.number = ++last_number_;
  rows_.push_back(std::move(stored));
  ++row_changes_;
  return last_number_;
}

void MemoryProvider::set(std::size_t row, std::string_view property, cim::Value value) {
  const std::size_t index = column(property);
  const std::lock_guard lock(mutex_);
  Stored* stored = find(row);
  if (stored == nullptr) return;
  stored->values[index] = std::move(value);
  ++column_changes_[index];
}

void MemoryProvider::count_up(std::size_t row, std::string_view property, std::uint64_t step) {
  const std::size_t index = column(property);
  const std::lock_guard lock(mutex_);
  if (Stored* stored = find(row)) stored->steps[index] = step;
}

void MemoryProvider::advance_counters() {
  for (Stored& stored : rows_) {
    for (const auto& [index, step] : stored.steps) {
      const auto* const value = stored.values[index].get_if<std::uint64_t>();
      stored.values[index] = (value == nullptr ? 0 : *value) + step;
      ++column_changes_[index];
    }
  }
}

cim::Value MemoryProvider::get(std::size_t row, std::string_view property) const {
  const std::size_t index = column(property);
  const std::lock_guard lock(mutex_);
  const auto found =
      std::find_if(rows_.begin(), rows_.end(), [&](const Stored& stored) { return stored.number == row; });
  return found == rows_.end() ? cim::Value() : copy_of(found->values[index]);
}

void MemoryProvider::remove(std::size_t row) {
  const std::lock_guard lock(mutex_);
  row_changes_ += std::erase_if(rows_, [&](const Stored& stored) { return stored.number == row; });
}

void MemoryProvider::clear() {
  const std::lock_guard lock(mutex_);
  rows_.clear();
  ++row_changes_;
}

void MemoryProvider::fail_with(std::optional<Error> error) {
  const std::lock_guard lock(mutex_);
  error_ = std::move(error);
  ++row_changes_;
}

std::uint64_t MemoryProvider::changes() const {
  return std::accumulate(column_changes_.begin(), column_changes_.end(), row_changes_);
}

bool MemoryProvider::is_seen() const {
  const std::lock_guard lock(mutex_);
  return seen_changes_ == changes();
}

std::size_t MemoryProvider::enumerations() const {
  const std::lock_guard lock(mutex_);
  return enumerations_;
}

std::vector<Equality> MemoryProvider::last_equalities() const {
  const std::lock_guard lock(mutex_);
  return last_equalities_;
}

std::vector<std::size_t> MemoryProvider::last_columns() const {
  const std::lock_guard lock(mutex_);
  return last_columns_;
}

}  // namespace kvwmi::embedded
