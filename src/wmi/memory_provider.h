#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kvwmi/error.h"
#include "wmi/provider.h"

namespace kvwmi::embedded {

/// Schema of a class that is made at run time.
struct MemoryClass {
  struct Property {
    std::string name;
    cim::CimType type = cim::CimType::string;
    std::uint8_t flags = cim::kPlain;
    std::string description = {};
    cim::Cost cost = cim::Cost::free;
  };
  struct Parameter {
    std::string name;
    cim::CimType type = cim::CimType::string;
  };
  struct Method {
    std::string name;
    std::vector<Parameter> in;
    /// Gives the return code; `row` is the number that MemoryProvider::add gave.
    std::function<std::uint32_t(std::size_t row, std::span<const cim::Value> arguments)> call;
    std::string description = {};
  };

  std::string name;
  std::vector<Property> properties;
  std::vector<Method> methods = {};            ///< at most 16
  std::vector<std::string> superclasses = {};  ///< nearest first
  std::string description = {};
  std::string name_space = R"(root\CIMV2)";
  bool is_abstract = false;
};

/// A class whose rows stand in memory and change while the service runs. Any thread may use it.
class MemoryProvider final : public Provider {
 public:
  using Values = std::vector<std::pair<std::string, cim::Value>>;

  /// Raises std::length_error for more methods than a class can have.
  explicit MemoryProvider(MemoryClass definition);
  ~MemoryProvider() override;

  [[nodiscard]] const cim::Class& schema() const override;
  void enumerate(const Request& request, const RowSink& sink) override;
  [[nodiscard]] std::optional<std::uint64_t> change_token(std::span<const std::size_t> columns) override;

  /// Adds a row at the end and gives its number. Properties that are not named are NULL; a name that the
  /// class lacks raises std::invalid_argument.
  std::size_t add(const Values& values);
  void set(std::size_t row, std::string_view property, cim::Value value);
  /// Makes the row's property, an unsigned 64-bit number, a counter: each enumeration finds it higher by
  /// `step`.
  void count_up(std::size_t row, std::string_view property, std::uint64_t step);
  /// The row's value; NULL once the row is gone.
  [[nodiscard]] cim::Value get(std::size_t row, std::string_view property) const;
  void remove(std::size_t row);
  void clear();

  /// Has change tokens speak of these properties only, and of the rows: there is none for others.
  void vouch_only_for(const std::vector<std::string>& properties);

  /// Every enumeration fails with `error` until it is taken back with nullopt.
  void fail_with(std::optional<Error> error);

  /// Whether rows were asked for since the last change, so that the next one is a change for who asked.
  [[nodiscard]] bool is_seen() const;
  /// How often rows were asked for, and with which equalities the last time.
  [[nodiscard]] std::size_t enumerations() const;
  [[nodiscard]] std::vector<Equality> last_equalities() const;
  [[nodiscard]] std::vector<std::size_t> last_columns() const;

 private:
  class Definition;
  class Row;
  struct Stored {
    std::size_t number;
    std::vector<cim::Value> values;
    std::map<std::size_t, std::uint64_t> steps = {};  ///< of the columns that count up
  };

  [[nodiscard]] std::size_t column(std::string_view property) const;
  [[nodiscard]] Stored* find(std::size_t row);
  [[nodiscard]] std::uint64_t changes() const;
  void advance_counters();

  std::shared_ptr<const Definition> definition_;
  mutable std::mutex mutex_;
  std::vector<Stored> rows_;
  std::size_t last_number_ = 0;
  std::uint64_t row_changes_ = 0;
  std::vector<std::uint64_t> column_changes_;
  std::vector<bool> vouched_for_;  ///< by column
  std::optional<Error> error_;
  std::size_t enumerations_ = 0;
  std::optional<std::uint64_t> seen_changes_;  ///< changes() when rows were last asked for
  std::vector<Equality> last_equalities_;
  std::vector<std::size_t> last_columns_;
};

}  // namespace kvwmi::embedded
