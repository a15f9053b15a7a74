#pragma once

#include <stdexcept>

namespace kvwmi::agent {

/// Something a user wrote that cannot be taken; the text says what is wrong with it.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace kvwmi::agent
