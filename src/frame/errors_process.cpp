#include "frame/errors_process.h"

#include <exception>
#include <new>

#include "frame/runtime_error.h"

namespace kvwmi {

Error pending_error() {
  try {
    throw;
  } catch (const Error& error) {
    return error;
  } catch (const std::bad_alloc&) {
    return runtime_error(RuntimeError::out_of_memory);
  } catch (const std::exception& exception) {
    return runtime_error(RuntimeError::internal_error).with_description(exception.what());
  } catch (...) {
    return runtime_error(RuntimeError::internal_error);
  }
}

Error MethodFrame::failed(std::string_view method, const Error& error) const {
  const std::string tag =
      std::string(kComponentName) + " : " + std::string(class_name_) + "." + std::string(method);
  return error.with_number(number_.value_or(error.number())).with_tag(tag);
}

}  // namespace kvwmi
