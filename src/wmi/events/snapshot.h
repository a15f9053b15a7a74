#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wmi/cim/instance.h"
#include "wmi/cim/system_properties.h"
#include "wmi/events/event_classes.h"
#include "wmi/wql/scope.h"

namespace kvwmi::embedded {

/// A set of a class's columns.
class Columns {
 public:
  Columns(std::vector<std::size_t> columns, std::size_t all);

  /// Ascending, each once.
  [[nodiscard]] const std::vector<std::size_t>& list() const noexcept { return list_; }
  /// Where in the list the column stands.
  [[nodiscard]] std::optional<std::size_t> position(std::size_t column) const {
    const std::size_t found = positions_[column];
    return found == kAbsent ? std::nullopt : std::optional(found);
  }
  [[nodiscard]] bool contains(std::size_t column) const { return positions_[column] != kAbsent; }

 private:
  static constexpr std::size_t kAbsent = static_cast<std::size_t>(-1);
  std::vector<std::size_t> list_;
  std::vector<std::size_t> positions_;  // by column
};

/// What a poll keeps of a row: the values of some columns.
struct Record {
  std::shared_ptr<const Columns> columns;
  std::vector<cim::Value> values;  ///< in the order of the columns
  std::uint64_t order = 0;         ///< of appearance
  std::uint64_t round = 0;         ///< the last poll that saw the row
  std::uint64_t version = 0;       ///< of the subscriptions that the columns were chosen for
  bool bare = false;               ///< no subscription asks for more than the least of this row

  /// NULL for a column that was not kept.
  [[nodiscard]] const cim::Value& value(std::size_t column) const;
};

/// One instance of an event, before its condition: a row at hand, or what a poll kept of it.
class Side {
 public:
  Side(cim::Instance& row, const cim::Location& location) : row_(&row), location_(location) {}
  Side(const Record& record, std::shared_ptr<const RememberedClass> schema, const cim::Location& location)
      : record_(&record), class_(std::move(schema)), location_(location) {}

  /// `slot` is a ClassScope's.
  [[nodiscard]] const cim::Value& value(std::size_t slot);
  /// All of it, to be kept.
  [[nodiscard]] std::shared_ptr<cim::Instance> freeze(
      const std::shared_ptr<const RememberedClass>& schema) const;

 private:
  cim::Instance* row_ = nullptr;
  const Record* record_ = nullptr;
  std::shared_ptr<const RememberedClass> class_;
  const cim::Location& location_;
  cim::Value system_;
};

/// The row of an event's condition.
class EventRow final : public wql::Row {
 public:
  /// Without a previous instance, its properties are NULL.
  EventRow(std::string_view event_class, Side& target, Side* previous, std::uint64_t created)
      : target_(target), previous_(previous), created_(created), class_(std::string(event_class)) {}

  [[nodiscard]] const cim::Value& value(std::size_t slot) override;

 private:
  Side& target_;
  Side* previous_;
  cim::Value created_;
  cim::Value class_;
};

/// The instance that a record remembers; what it did not keep is NULL.
[[nodiscard]] std::shared_ptr<cim::Instance> remembered(const Record& record,
                                                        const std::shared_ptr<const RememberedClass>& schema);

/// A text that is the same for values that compare as equal: text without regard to case, numbers by value.
[[nodiscard]] std::string key_text(const cim::Value& value);
/// Whether that is so of all values of the property: references and datetimes compare by meaning, for one.
[[nodiscard]] bool has_key_text(const cim::Property& property);
/// Adds a value to the key of several, so that other values in a row never make the same key.
void append_key(std::string& key, const cim::Value& value);

}  // namespace kvwmi::embedded
