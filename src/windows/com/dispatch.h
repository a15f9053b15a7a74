#pragma once

#include <windows.h>

#include <oaidl.h>

#include "frame/class_catalogue.h"

namespace kvwmi::com {

/// What IDispatch::GetIDsOfNames answers for a class: identifiers of its members and, behind a member's name,
/// the positions of its parameters. Names match in any case.
HRESULT find_ids(const catalogue::Class& type, REFIID reserved, const LPOLESTR* names, UINT count,
                 DISPID* ids) noexcept;

/// The arguments of IDispatch::Invoke.
struct Invocation {
  DISPID id;
  REFIID reserved;
  LCID locale;
  WORD flags;
  DISPPARAMS* arguments;
  VARIANT* result;
  EXCEPINFO* exception;
  UINT* bad_argument;
};

/// Calls a member of `target` through its dual interface as IDispatch::Invoke does.
///
/// Arguments may be anything that converts to the declared type. Scripts pass each variable as a reference to
/// a variant: such an argument is converted, and what the member leaves in a by-reference parameter goes back
/// into the variable, also when the call fails. Left-out arguments get their default. A property that holds
/// an array can be read with one index, which answers that element.
HRESULT invoke(const catalogue::Class& type, IDispatch& target, const Invocation& invocation) noexcept;

}  // namespace kvwmi::com
