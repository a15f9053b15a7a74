#pragma once

#include <memory>
#include <string>
#include <vector>

#include "frame/wmi_access.h"
#include "wmi/catalog.h"
#include "wmi/object.h"
#include "wmi/wql/predicate.h"
#include "wmi/wql/query.h"

namespace kvwmi::embedded {

/// A data or schema query, checked against the classes that it asks for.
class DataQuery {
 public:
  using Objects = std::vector<std::shared_ptr<wmi::Object>>;

  /// Raises wql::QueryError for a query that is refused.
  DataQuery(std::string text, std::shared_ptr<const Catalog> catalog, cim::Location location,
            const wql::Limits& limits);

  /// Asks every provider concerned once and gives the rows that match. A provider's failure raises.
  [[nodiscard]] Objects run() const;

 private:
  /// One class that the query asks for.
  struct Target {
    std::shared_ptr<Provider> provider;
    wql::Predicate predicate;
    std::vector<Equality> any_of;
    std::shared_ptr<const ObjectContext> context;
  };

  void check_instances();
  void check_classes();
  void add_rows(const Target& target, Objects& objects) const;
  [[nodiscard]] Objects classes() const;
  [[nodiscard]] std::optional<std::vector<std::size_t>> selected_columns(
      const cim::Class& schema, const std::vector<const cim::Class*>& relatives) const;

  std::shared_ptr<const Catalog> catalog_;
  cim::Location location_;
  wql::Query query_;
  std::vector<Target> targets_;
};

}  // namespace kvwmi::embedded
