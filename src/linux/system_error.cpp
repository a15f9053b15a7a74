#include "linux/system_error.h"

#include <cerrno>
#include <string>
#include <system_error>

#include "frame/runtime_error.h"

namespace kvwmi::ground {
namespace {

std::uint32_t automation_number(int error_number) {
  switch (error_number) {
    case ENOENT:
      return 0x80070002;
    case EACCES:
    case EPERM:
      return 0x80070005;
    case EBADF:
      return 0x80070006;
    case ENOMEM:
      return 0x8007000E;
    case EINVAL:
      return 0x80070057;
    case ENAMETOOLONG:
      return 0x8007007B;
    case ENOSPC:
    case EMFILE:
    case ENFILE:
      return 0x800705AA;
    case ETIMEDOUT:
      return 0x800705B4;
    default:
      return 0x80004005;
  }
}

}  // namespace

Error system_error(int error_number, const char* call) {
  return {static_cast<std::int32_t>(automation_number(error_number)), kComponentName,
          std::string(call) + ": " + std::generic_category().message(error_number)};
}

int checked(int result, const char* call) {
  if (result < 0) throw system_error(-result, call);
  return result;
}

}  // namespace kvwmi::ground
