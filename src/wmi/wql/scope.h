#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wmi/cim/schema.h"
#include "wmi/cim/value.h"

namespace kvwmi::wql {

/// The classes of a namespace, as far as conditions ask for them.
class Classes {
 public:
  virtual ~Classes() = default;
  /// Every class of the namespace, those included that are known only as another one's superclass.
  [[nodiscard]] virtual std::vector<std::string_view> names() const = 0;
  [[nodiscard]] virtual bool knows(std::string_view name) const = 0;
  /// The class, its superclasses and the classes derived from it; the name alone for an unknown class. In any
  /// spelling.
  [[nodiscard]] virtual std::vector<std::string> family(std::string_view name) const = 0;
};

/// Where a name of a condition leads.
struct Binding {
  std::size_t slot = 0;  ///< handed to Row::value
  cim::CimType type = cim::CimType::string;
  bool is_array = false;
  cim::Cost cost = cim::Cost::free;
  /// What is left of a dotted name behind the embedded object in `slot`, whose class shows only in the row.
  std::string_view rest = {};
  /// Where every row of the scope has the same value; the slot is then not read.
  std::optional<cim::Value> constant = std::nullopt;
  /// For ISA: the class that every row has there, null where only the row tells.
  const cim::Class* known_class = nullptr;
  /// A dotted name through something that is no object: not an error, but never a value.
  bool leads_nowhere = false;
};

/// What the names of a condition mean: a class's properties, or those of an event and its instances.
class Scope {
 public:
  virtual ~Scope() = default;
  /// nullopt for a name that does not exist here.
  [[nodiscard]] virtual std::optional<Binding> find(std::string_view name) const = 0;
  /// What the names belong to, for messages: a class name.
  [[nodiscard]] virtual std::string_view title() const = 0;
  /// All names, for messages.
  [[nodiscard]] virtual std::vector<std::string_view> names() const = 0;
  /// "; nearest: a, b": what a name that does not exist here was probably meant to be, for messages.
  [[nodiscard]] virtual std::string nearest(std::string_view name) const;
  [[nodiscard]] virtual const Classes& classes() const = 0;
};

/// One row of a scope. A reference stays valid until the row is gone.
class Row {
 public:
  virtual ~Row() = default;
  [[nodiscard]] virtual const cim::Value& value(std::size_t slot) = 0;
};

}  // namespace kvwmi::wql
