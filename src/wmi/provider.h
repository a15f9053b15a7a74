#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

#include "wmi/cim/instance.h"
#include "wmi/cim/schema.h"

namespace kvwmi::embedded {

/// One `property = constant` that the query allows for; the constant has the property's type.
struct Equality {
  std::size_t column = 0;
  cim::Value constant;
};

/// What a query needs of a provider.
struct Request {
  /// Every matching row satisfies at least one of these; empty means that nothing narrows the query. Only
  /// columns declared kNarrows appear. Text compares in any case, so a provider must not be stricter than
  /// that.
  std::span<const Equality> any_of;
  /// Columns that will be read of every row; others only of those that match, or never.
  std::span<const std::size_t> columns;
};

/// Takes the rows one by one; answers false when it wants no more.
using RowSink = std::function<bool(std::shared_ptr<cim::Instance>)>;

/// The source of one class. Called from any thread, from several at once.
class Provider {
 public:
  virtual ~Provider() = default;

  [[nodiscard]] virtual const cim::Class& schema() const = 0;

  /// Hands every row that satisfies `request`, or more, to `sink`, in a stable order. The engine checks each
  /// row again. Failing raises "Provider failure " or a more fitting WMI error; nothing is never said for
  /// cannot tell.
  virtual void enumerate(const Request& request, const RowSink& sink) = 0;

  /// A number that is certain to differ from an earlier one when a row came, went, or changed in one of
  /// `columns`; nullopt where nothing so cheap exists. Lets an event poll skip the enumeration.
  [[nodiscard]] virtual std::optional<std::uint64_t> change_token(std::span<const std::size_t> columns) {
    static_cast<void>(columns);
    return std::nullopt;
  }
};

}  // namespace kvwmi::embedded
