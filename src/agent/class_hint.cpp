#include "agent/class_hint.h"

#include "kvwmi/error.h"
#include "kvwmi/nearest.h"

namespace kvwmi::agent {

std::string nearest_class_hint(WmiSession& session, const std::string& name) {
  try {
    return nearest_hint(name, session.classes());
  } catch (const Error&) {
    return "";
  }
}

}  // namespace kvwmi::agent
