#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "stand_in/backend.h"
#include "wmi/memory_provider.h"
#include "wmi/service.h"

namespace kvwmi::stand_in {

/// A machine that a test fills and changes while it runs: the embedded service over classes in memory. It
/// begins with the classes that this system uses, all empty.
class Repository final : public Backend {
 public:
  Repository();
  ~Repository() override;

  /// A class's rows; an unknown class raises std::out_of_range. Any thread may change them.
  [[nodiscard]] embedded::MemoryProvider& rows(std::string_view class_name);
  /// Adds a row and gives its number.
  std::size_t add(std::string_view class_name, const embedded::MemoryProvider::Values& values);
  /// Empties every class and forgets answers, calls and failures.
  void clear();

  /// From now on a method gives that code and does nothing. Otherwise services start and stop (10 where they
  /// already have), processes end, and every other method gives 0.
  void answer(std::string_view class_name, std::string_view method, std::uint32_t code);
  /// "Class.Method(argument, ...)" for each call so far.
  [[nodiscard]] const std::vector<std::string>& calls() const { return calls_; }

  std::unique_ptr<wmi::Locator> create_locator() override { return service_.create_locator(); }
  std::shared_ptr<wmi::Sink> create_sink(wmi::ObjectReady handler) override;
  const cim::Class* find_class(std::string_view name) override;

 private:
  void define(embedded::MemoryClass definition);
  std::uint32_t call(const std::string& class_name, const std::string& method, std::size_t row,
                     std::span<const cim::Value> arguments);
  std::uint32_t control_service(std::size_t row, std::string_view wanted);

  embedded::Service service_;
  std::map<std::string, std::shared_ptr<embedded::MemoryProvider>, std::less<>> classes_;
  std::map<std::pair<std::string, std::string>, std::uint32_t> answers_;
  std::vector<std::string> calls_;
};

}  // namespace kvwmi::stand_in
