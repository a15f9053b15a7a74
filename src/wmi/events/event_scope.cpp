#include "wmi/events/event_scope.h"

#include "frame/text.h"

namespace kvwmi::embedded {

bool EventScope::is_previous(std::string_view head) const {
  return event_class_.has_previous && equals_ignoring_case(head, "PreviousInstance");
}

bool EventScope::is_instance(std::string_view head) const {
  return is_previous(head) || equals_ignoring_case(head, "TargetInstance");
}

std::string EventScope::nearest(std::string_view name) const {
  const auto dot = name.find('.');
  const bool of_instance = dot != std::string_view::npos && is_instance(name.substr(0, dot));
  return of_instance ? instance_.nearest(name.substr(dot + 1)) : Scope::nearest(name);
}

std::optional<wql::Binding> EventScope::find(std::string_view name) const {
  const auto dot = name.find('.');
  const std::string_view head = name.substr(0, dot);
  if (is_instance(head)) {
    if (dot == std::string_view::npos) {
      wql::Binding itself;
      itself.type = cim::CimType::object;
      itself.known_class = &schema_;
      itself.constant = cim::Value(true);  // never NULL
      return itself;
    }
    auto binding = instance_.find(name.substr(dot + 1));
    if (binding && is_previous(head)) binding->slot += kPreviousSlots;
    return binding;
  }
  auto binding = event_.find(name);
  if (binding && equals_ignoring_case(name, "__CLASS")) {
    binding->constant.reset();  // an operation event is one of its three kinds
    binding->slot = kEventClassSlot;
    return binding;
  }
  if (!binding || binding->constant) return binding;
  if (equals_ignoring_case(head, "TIME_CREATED")) {
    binding->slot = kTimeCreatedSlot;
  } else {
    binding->constant = cim::Value();  // the other properties of an event have no value
  }
  return binding;
}

}  // namespace kvwmi::embedded
