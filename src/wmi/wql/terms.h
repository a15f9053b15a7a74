#pragma once

#include "wmi/wql/nodes.h"
#include "wmi/wql/query.h"
#include "wmi/wql/scope.h"

namespace kvwmi::wql::nodes {

/// A condition without AND, OR and NOT, checked against the scope. Raises QueryError where it does not fit.
[[nodiscard]] NodePtr compile_term(const Expression& e, const Scope& scope);

}  // namespace kvwmi::wql::nodes
