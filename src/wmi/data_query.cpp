#include "wmi/data_query.h"

#include <algorithm>
#include <string>
#include <unordered_set>
#include <utility>

#include "frame/text.h"
#include "kvwmi/nearest.h"
#include "wmi/wql/class_scope.h"
#include "wmi/wql/query_error.h"

namespace kvwmi::embedded {
namespace {

constexpr cim::Class kMetaClass{
    .name = "meta_class", .superclasses = {}, .description = {}, .properties = {}, .methods = {}};

/// One text for constants that are the same to WQL.
std::string identity(const wql::SlotEquality& equality) {
  const std::string slot = std::to_string(equality.slot) + ' ';
  if (const auto* text = equality.constant.get_if<std::string>()) return slot + fold_case(*text);
  if (const auto* number = equality.constant.get_if<std::int64_t>()) return slot + std::to_string(*number);
  if (const auto* number = equality.constant.get_if<std::uint64_t>()) return slot + std::to_string(*number);
  return slot + (equality.constant == cim::Value(true) ? "true" : "false");
}

/// The predicate's equalities over columns that the provider can take, each once.
std::vector<Equality> narrowing(const wql::Predicate& predicate, const cim::Class& schema) {
  auto equalities = predicate.equalities(
      [&](std::size_t slot) { return slot < schema.properties.size() && schema.properties[slot].narrows(); });
  std::vector<Equality> result;
  if (!equalities) return result;
  std::unordered_set<std::string> known;
  for (wql::SlotEquality& equality : *equalities) {
    if (known.insert(identity(equality)).second)
      result.push_back({equality.slot, std::move(equality.constant)});
  }
  return result;
}

}  // namespace

DataQuery::DataQuery(std::string text, std::shared_ptr<const Catalog> catalog, cim::Location location,
                     const wql::Limits& limits)
    : catalog_(std::move(catalog)),
      location_(std::move(location)),
      query_(wql::parse_query(std::move(text), limits)) {
  if (query_.kind == wql::Query::Kind::schema) {
    check_classes();
  } else {
    check_instances();
  }
}

void DataQuery::check_instances() {
  const auto entries = catalog_->derived(query_.class_name.text);
  if (entries.empty()) {
    const std::string name(query_.class_name.text);
    throw wql::unknown_name(
        wmi::Status::invalid_class, query_.class_name.offset,
        "there is no class '" + wql::excerpt(name) + "'" + nearest_hint(name, catalog_->names()));
  }
  // A class known by its derived ones only has the properties that they have.
  std::vector<const cim::Class*> relatives;
  for (const Catalog::Entry* entry : entries) relatives.push_back(entry->schema);

  for (const Catalog::Entry* entry : entries) {
    const cim::Class& schema = *entry->schema;
    const wql::ClassScope scope(schema, location_, *catalog_, wql::Genus::instance, relatives);
    Target target{.provider = entry->provider,
                  .predicate = query_.where ? wql::Predicate(*query_.where, scope) : wql::Predicate(),
                  .any_of = {},
                  .context = nullptr};
    target.any_of = narrowing(target.predicate, schema);
    target.context = std::make_shared<const ObjectContext>(ObjectContext{
        .location = location_, .columns = selected_columns(schema, relatives), .owner = entry->provider});
    const auto always = target.predicate.constant();
    const bool possible = !always || *always == wql::Truth::yes;
    if (entry->provider && !schema.is_abstract && possible) targets_.push_back(std::move(target));
  }
}

std::optional<std::vector<std::size_t>> DataQuery::selected_columns(
    const cim::Class& schema, const std::vector<const cim::Class*>& relatives) const {
  if (query_.columns.empty()) return std::nullopt;
  std::vector<std::size_t> columns;
  for (const wql::Name& name : query_.columns) {
    const auto known_to = [&](const cim::Class* other) {
      return other->find_property(name.head()).has_value();
    };
    const auto column = schema.find_property(name.head());
    if (column) columns.push_back(*column);
    const bool object = column && schema.properties[*column].type == cim::CimType::object;
    const bool known = column || cim::find_system_property(name.head()) ||
                       std::any_of(relatives.begin(), relatives.end(), known_to);
    if (known && (name.rest().empty() || object)) continue;
    const std::string text(name.text);
    const wql::ClassScope scope(schema, location_, *catalog_, wql::Genus::instance, relatives);
    throw wql::unknown_name(wmi::Status::invalid_query, name.offset,
                            std::string(query_.class_name.text) + " has no property '" + wql::excerpt(text) +
                                "'" + scope.nearest(text));
  }
  for (std::size_t i = 0; i < schema.properties.size(); ++i) {
    if (schema.properties[i].is_key()) columns.push_back(i);
  }
  std::sort(columns.begin(), columns.end());
  columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
  return columns;
}

void DataQuery::check_classes() {
  // Also where the namespace has no class at all, a condition has to make sense.
  if (!query_.where) return;
  const wql::ClassScope scope(kMetaClass, location_, *catalog_, wql::Genus::class_object);
  static_cast<void>(wql::Predicate(*query_.where, scope));
}

DataQuery::Objects DataQuery::run() const {
  if (query_.kind == wql::Query::Kind::schema) return classes();
  Objects objects;
  for (const Target& target : targets_) add_rows(target, objects);
  return objects;
}

void DataQuery::add_rows(const Target& target, Objects& objects) const {
  const cim::Class& schema = target.provider->schema();
  std::vector<std::size_t> columns;
  for (const std::size_t slot : target.predicate.slots()) {
    if (slot < schema.properties.size()) columns.push_back(slot);
  }
  target.provider->enumerate({target.any_of, columns}, [&](std::shared_ptr<cim::Instance> instance) {
    wql::InstanceRow row(*instance, location_);
    if (target.predicate.matches(row)) objects.push_back(make_object(std::move(instance), target.context));
    return true;
  });
}

DataQuery::Objects DataQuery::classes() const {
  const auto context = std::make_shared<const ObjectContext>(
      ObjectContext{.location = location_, .columns = {}, .owner = catalog_});
  Objects objects;
  for (const Catalog::Entry& entry : catalog_->entries()) {
    if (query_.where) {
      const wql::ClassScope scope(*entry.schema, location_, *catalog_, wql::Genus::class_object);
      if (wql::Predicate(*query_.where, scope).constant() != wql::Truth::yes) continue;
    }
    objects.push_back(make_class_object(*entry.schema, context));
  }
  return objects;
}

}  // namespace kvwmi::embedded
