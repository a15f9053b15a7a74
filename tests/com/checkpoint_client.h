#pragma once

#include <memory>
#include <optional>
#include <string>

#include "automation.h"

/// A client of CheckPoint, early or late bound.
class CheckPointClient {
 public:
  struct Outcome {
    HRESULT status = S_OK;  ///< S_OK, or the error's number
    /// What the call left in the place for its result, whether it failed or not.
    std::optional<long> result;
    std::string output;  ///< type and value of the output afterwards
    std::string source;  ///< of the error
    std::string description;
  };

  virtual ~CheckPointClient() = default;
  /// A method without a name argument leaves `name` unused.
  virtual Outcome call(const std::string& method, const std::string& name = {}) = 0;
  /// What a call that fails must leave as its result.
  [[nodiscard]] virtual std::optional<long> no_result() const = 0;
};

/// Through the interface of the generated header; failures through IErrorInfo.
[[nodiscard]] std::unique_ptr<CheckPointClient> make_early_bound_client();
/// Through IDispatch, outputs being variables by reference as a script's are; failures through EXCEPINFO.
[[nodiscard]] std::unique_ptr<CheckPointClient> make_late_bound_client();
