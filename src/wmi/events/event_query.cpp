#include "wmi/events/event_query.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "frame/text.h"
#include "kvwmi/nearest.h"
#include "wmi/events/event_scope.h"
#include "wmi/wql/query_error.h"

namespace kvwmi::embedded {
namespace {

using wmi::Status;
using wql::Expression;
using wql::Name;
using wql::QueryError;
using wql::unknown_name;

/// The longest WITHIN, in seconds: what an unsigned 32-bit number holds.
constexpr double kLongestPeriod = 4294967295.0;

using ClassNames = std::set<std::string>;  // folded

const EventClass& event_class_of(const wql::Query& query, const Catalog& catalog) {
  const std::string name(query.class_name.text);
  const std::size_t offset = query.class_name.offset;
  if (const EventClass* found = find_event_class(name)) return *found;
  if (is_other_event_class(name)) {
    throw QueryError(Status::provider_not_capable, offset,
                     "nothing here makes events of the class '" + name + "'");
  }
  if (catalog.knows(name) || equals_ignoring_case(name, "__AggregateEvent")) {
    throw QueryError(Status::not_event_class, offset, "'" + name + "' is no event class");
  }
  std::vector<std::string_view> names;
  for (const char* known : {"__InstanceCreationEvent", "__InstanceDeletionEvent",
                            "__InstanceModificationEvent", "__InstanceOperationEvent"}) {
    names.emplace_back(known);
  }
  throw unknown_name(Status::invalid_class, offset,
                     "there is no class '" + name + "'" + nearest_hint(name, names));
}

void check_period(const wql::Query& query) {
  if (!query.within) {
    throw QueryError(Status::registration_too_precise, query.class_name.offset + query.class_name.text.size(),
                     "WITHIN and a number of seconds are needed: these events come from polling");
  }
  if (*query.within < kShortestPeriod) {
    throw QueryError(Status::invalid_query, query.within_offset, "the shortest interval is 0.01 seconds");
  }
  if (*query.within > kLongestPeriod) {
    throw QueryError(Status::invalid_query, query.within_offset, "the interval is too long");
  }
}

bool is_instance(std::string_view name) {
  return equals_ignoring_case(name, "TargetInstance") || equals_ignoring_case(name, "PreviousInstance");
}

/// The classes that the condition restricts the instance to; nullopt where it does not.
std::optional<ClassNames> restricted_to(const Expression& e, const Catalog& catalog) {
  switch (e.kind) {
    case Expression::Kind::isa: {
      if (!is_instance(e.property.text)) return std::nullopt;
      const std::string& name = *e.literal.value.get_if<std::string>();
      if (!catalog.knows(name)) {
        throw unknown_name(Status::invalid_class, e.literal.offset,
                           "there is no class '" + name + "'" + nearest_hint(name, catalog.names()));
      }
      ClassNames names;
      for (const Catalog::Entry* entry : catalog.derived(name)) names.insert(fold_case(entry->schema->name));
      return names;
    }
    case Expression::Kind::comparison: {
      const auto* text = e.literal.value.get_if<std::string>();
      const bool names_class = e.op == wql::Operator::equal && text != nullptr &&
                               is_instance(e.property.head()) &&
                               equals_ignoring_case(e.property.rest(), "__CLASS");
      return names_class ? std::optional(ClassNames{fold_case(*text)}) : std::nullopt;
    }
    case Expression::Kind::conjunction: {
      std::optional<ClassNames> names;
      for (const Expression& operand : e.operands) {
        auto one = restricted_to(operand, catalog);
        if (!one) continue;
        if (names) std::erase_if(*one, [&](const std::string& name) { return !names->contains(name); });
        names = std::move(one);
      }
      return names;
    }
    case Expression::Kind::disjunction: {
      ClassNames names;
      for (const Expression& operand : e.operands) {
        const auto one = restricted_to(operand, catalog);
        if (!one) return std::nullopt;
        names.insert(one->begin(), one->end());
      }
      return names;
    }
    case Expression::Kind::negation:
    case Expression::Kind::like:
    case Expression::Kind::null_test:
      break;
  }
  return std::nullopt;
}

std::vector<const Catalog::Entry*> target_classes(const wql::Query& query, const Catalog& catalog) {
  const auto names = query.where ? restricted_to(*query.where, catalog) : std::nullopt;
  if (!names) {
    throw QueryError(Status::registration_too_broad, query.class_name.offset,
                     "a class must be named: TargetInstance ISA 'class'");
  }
  std::vector<const Catalog::Entry*> entries;
  for (const Catalog::Entry& entry : catalog.entries()) {
    if (names->contains(fold_case(entry.schema->name))) entries.push_back(&entry);
  }
  return entries;
}

/// The slot of a BY name.
std::optional<std::size_t> group_slot(const Name& name, const EventScope& scope) {
  const std::string text(name.text);
  const auto binding = scope.find(name.text);
  if (!binding) {
    throw unknown_name(Status::invalid_query, name.offset,
                       std::string(scope.title()) + " has no property '" + text + "'" + scope.nearest(text));
  }
  if (binding->leads_nowhere || !binding->rest.empty()) {
    throw QueryError(Status::property_not_an_object, name.offset,
                     "'" + text + "' leads through something that is no object");
  }
  if (binding->type == cim::CimType::object) {
    throw QueryError(Status::aggregating_by_object, name.offset,
                     "'" + text + "' is an object; groups are made by its properties");
  }
  return binding->constant ? std::nullopt : std::optional(binding->slot);
}

/// The columns of target or previous instance behind slots.
std::vector<std::size_t> columns_of(const std::vector<std::size_t>& slots, const cim::Class& schema) {
  std::vector<std::size_t> columns;
  for (const std::size_t slot : slots) {
    const std::size_t column = slot >= kTimeCreatedSlot ? slot : slot % kPreviousSlots;
    if (column < schema.properties.size()) columns.push_back(column);
  }
  return columns;
}

/// Equalities by which the provider enumerates less. Only keys and references: what has many watches, a name,
/// is better enumerated once for all of them.
std::vector<Equality> narrowing(const wql::Predicate& condition, const cim::Class& schema) {
  std::vector<Equality> result;
  auto equalities = condition.equalities([&](std::size_t slot) {
    if (slot >= schema.properties.size()) return false;
    const cim::Property& property = schema.properties[slot];
    return property.narrows() && (property.is_key() || property.type == cim::CimType::reference);
  });
  if (!equalities) return result;
  for (wql::SlotEquality& equality : *equalities) {
    result.push_back({equality.slot, std::move(equality.constant)});
  }
  return result;
}

/// Columns of an event class that the query selects; nullopt for all.
std::optional<std::vector<std::size_t>> selected(const wql::Query& query, const EventClass& asked,
                                                 const cim::Class& delivered,
                                                 const NotificationRequest& request) {
  if (query.columns.empty()) return std::nullopt;
  std::vector<std::size_t> columns;
  for (const Name& name : query.columns) {
    const auto column = asked.schema->find_property(name.head());
    const bool through_object = column && asked.schema->properties[*column].type == cim::CimType::object;
    const bool known = column || cim::find_system_property(name.head());
    if (!known || (!name.rest().empty() && !through_object)) {
      const wql::ClassScope scope(*asked.schema, request.location, *request.catalog);
      const std::string text(name.text);
      throw unknown_name(
          Status::invalid_query, name.offset,
          std::string(scope.title()) + " has no property '" + text + "'" + scope.nearest(text));
    }
    if (const auto there = delivered.find_property(name.head())) columns.push_back(*there);
  }
  std::sort(columns.begin(), columns.end());
  columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
  return columns;
}

}  // namespace

EventQuery check_event_query(const NotificationRequest& request) {
  const wql::Query query = wql::parse_event_query(request.query, request.limits);
  const Catalog& catalog = *request.catalog;
  const EventClass& event_class = event_class_of(query, catalog);
  check_period(query);
  const auto entries = target_classes(query, catalog);
  const auto period =
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(*query.within));

  EventQuery result;
  result.subscription = std::make_shared<Subscription>();
  Subscription& subscription = *result.subscription;
  subscription.context = std::make_shared<const wmi::NamedValues>(request.context);
  subscription.whole_view = std::make_shared<const ObjectContext>(
      ObjectContext{.location = request.location, .columns = {}, .owner = request.catalog, .stored = false});
  for (const char* name :
       {"__InstanceCreationEvent", "__InstanceDeletionEvent", "__InstanceModificationEvent"}) {
    const cim::Class& delivered = *find_event_class(name)->schema;
    auto view = std::make_shared<ObjectContext>(*subscription.whole_view);
    view->columns = selected(query, event_class, delivered, request);
    subscription.views.emplace(&delivered, std::move(view));
  }
  if (query.group) {
    subscription.aggregation = std::make_unique<Aggregation>(query.group->seconds, query.group->having);
  }

  std::vector<const cim::Class*> relatives;
  relatives.reserve(entries.size());
  for (const Catalog::Entry* entry : entries) relatives.push_back(entry->schema);
  for (const Catalog::Entry* entry : entries) {
    const cim::Class& schema = *entry->schema;
    const EventScope scope(event_class, schema, request.location, catalog, relatives);
    SubscriptionPart part;
    part.subscription = result.subscription;
    part.changes = event_class.changes;
    part.condition = wql::Predicate(*query.where, scope);
    if (query.group) {
      for (const Name& name : query.group->by) {
        if (const auto slot = group_slot(name, scope)) part.by.push_back(*slot);
      }
    }
    std::vector<std::size_t> slots = part.condition.slots();
    slots.insert(slots.end(), part.by.begin(), part.by.end());
    part.used = columns_of(slots, schema);
    std::erase_if(slots, [](std::size_t slot) { return slot < kPreviousSlots; });
    part.used_of_previous = columns_of(slots, schema);

    const auto always = part.condition.constant();
    const bool possible = !always || *always == wql::Truth::yes;
    if (!entry->provider || schema.is_abstract || !possible) continue;
    auto any_of = narrowing(part.condition, schema);
    result.targets.push_back(
        {{entry->provider, request.location, period, std::move(any_of)}, std::move(part)});
  }
  return result;
}

}  // namespace kvwmi::embedded
