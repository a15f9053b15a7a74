#include "wmi/events/event_classes.h"

#include <algorithm>
#include <array>
#include <utility>

#include "frame/text.h"

namespace kvwmi::embedded {
namespace {

using cim::CimType;
using cim::Cost;
using cim::kPlain;

constexpr cim::Property kSecurityDescriptor{"SECURITY_DESCRIPTOR", CimType::uint8, cim::kArray, Cost::free,
                                            "Always NULL.",        nullptr};
constexpr cim::Property kTargetInstance{
    "TargetInstance",
    CimType::object,
    kPlain,
    Cost::free,
    "The instance: as it is after a creation or modification, as it last was before a deletion.",
    nullptr};
constexpr cim::Property kTimeCreated{"TIME_CREATED",
                                     CimType::uint64,
                                     kPlain,
                                     Cost::free,
                                     "When the change was found, in units of 100 ns since 1601, UTC.",
                                     nullptr};

constexpr std::array kOperationProperties{kSecurityDescriptor, kTargetInstance, kTimeCreated};
constexpr std::array kModificationProperties{
    cim::Property{"PreviousInstance", CimType::object, kPlain, Cost::free, "The instance before it changed.",
                  nullptr},
    kSecurityDescriptor, kTargetInstance, kTimeCreated};
constexpr std::array kAggregateProperties{
    cim::Property{"NumberOfEvents", CimType::uint32, kPlain, Cost::free, "How many events the group holds.",
                  nullptr},
    cim::Property{"Representative", CimType::object, kPlain, Cost::free, "The first of them.", nullptr}};

constexpr std::array<std::string_view, 3> kOperationSuperclasses{"__Event", "__IndicationRelated",
                                                                 "__SystemClass"};
constexpr std::array<std::string_view, 4> kChangeSuperclasses{"__InstanceOperationEvent", "__Event",
                                                              "__IndicationRelated", "__SystemClass"};
constexpr std::array<std::string_view, 2> kAggregateSuperclasses{"__IndicationRelated", "__SystemClass"};

constexpr cim::Class event_class(std::string_view name, std::span<const std::string_view> superclasses,
                                 std::span<const cim::Property> properties) {
  return {
      .name = name, .superclasses = superclasses, .description = {}, .properties = properties, .methods = {}};
}

constexpr cim::Class kOperation =
    event_class("__InstanceOperationEvent", kOperationSuperclasses, kOperationProperties);
constexpr cim::Class kCreation =
    event_class("__InstanceCreationEvent", kChangeSuperclasses, kOperationProperties);
constexpr cim::Class kDeletion =
    event_class("__InstanceDeletionEvent", kChangeSuperclasses, kOperationProperties);
constexpr cim::Class kModification =
    event_class("__InstanceModificationEvent", kChangeSuperclasses, kModificationProperties);
constexpr cim::Class kAggregate =
    event_class("__AggregateEvent", kAggregateSuperclasses, kAggregateProperties);

constexpr auto bit(Change change) {
  return static_cast<std::uint8_t>(change);
}

constexpr std::array kEventClasses{
    EventClass{&kCreation, bit(Change::creation), false},
    EventClass{&kDeletion, bit(Change::deletion), false},
    EventClass{&kModification, bit(Change::modification), true},
    EventClass{&kOperation, bit(Change::creation) | bit(Change::deletion) | bit(Change::modification), false},
};

constexpr std::array<std::string_view, 17> kOtherEventClasses{"__ClassCreationEvent",
                                                              "__ClassDeletionEvent",
                                                              "__ClassModificationEvent",
                                                              "__ClassOperationEvent",
                                                              "__ConsumerFailureEvent",
                                                              "__Event",
                                                              "__EventDroppedEvent",
                                                              "__EventQueueOverflowEvent",
                                                              "__ExtrinsicEvent",
                                                              "__MethodInvocationEvent",
                                                              "__NamespaceCreationEvent",
                                                              "__NamespaceDeletionEvent",
                                                              "__NamespaceOperationEvent",
                                                              "__NamespaceModificationEvent",
                                                              "__SystemEvent",
                                                              "__TimerEvent",
                                                              "__QOSFailureEvent"};

const cim::Class& class_of(Change change) {
  switch (change) {
    case Change::creation:
      return kCreation;
    case Change::deletion:
      return kDeletion;
    case Change::modification:
      break;
  }
  return kModification;
}

}  // namespace

const EventClass* find_event_class(std::string_view name) {
  const auto* found = std::find_if(kEventClasses.begin(), kEventClasses.end(), [&](const EventClass& c) {
    return equals_ignoring_case(c.schema->name, name);
  });
  return found == kEventClasses.end() ? nullptr : found;
}

bool is_other_event_class(std::string_view name) {
  return std::any_of(kOtherEventClasses.begin(), kOtherEventClasses.end(),
                     [&](std::string_view other) { return equals_ignoring_case(other, name); });
}

std::shared_ptr<cim::Instance> make_event(Change change, std::shared_ptr<cim::Instance> target,
                                          std::shared_ptr<cim::Instance> previous, std::uint64_t created) {
  const cim::Class& schema = class_of(change);
  auto event = std::make_shared<FrozenInstance>(schema);
  event->set(*schema.find_property("TargetInstance"), std::move(target));
  event->set(*schema.find_property("TIME_CREATED"), created);
  if (previous) event->set(*schema.find_property("PreviousInstance"), std::move(previous));
  return event;
}

std::shared_ptr<cim::Instance> make_aggregate_event(std::shared_ptr<cim::Instance> representative,
                                                    std::uint64_t count) {
  auto event = std::make_shared<FrozenInstance>(kAggregate);
  event->set(0, count);
  event->set(1, std::move(representative));
  return event;
}

}  // namespace kvwmi::embedded
