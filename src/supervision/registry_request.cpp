#include <array>
#include <string_view>

#include "frame/runtime_error.h"
#include "frame/wow64.h"
#include "kvwmi/supervision.h"
#include "supervision/clauses.h"
#include "supervision/engine.h"
#include "supervision/frames.h"
#include "supervision/query_text.h"

namespace kvwmi {
namespace {

using supervision::doubled;
using supervision::kRequest;
using supervision::replaced;
using supervision::strGetGroupClause;
using supervision::SupervisionType;
using supervision::within;
namespace context = supervision::context;

/// `key` in the 32-bit view of a 64-bit registry. Only keys written in these very letters have one here.
std::string in_32_bit_view(const std::string& key) {
  constexpr std::array<std::string_view, 2> kShared{R"(HKEY_CURRENT_USER\SOFTWARE)",
                                                    R"(HKEY_LOCAL_MACHINE\SOFTWARE)"};
  if (key.find("Wow6432Node") != std::string::npos) return key;
  for (const std::string_view root : kShared) {
    if (key.find(root) != std::string::npos) {
      return replaced(key, root, std::string(root) + R"(\Wow6432Node)");
    }
  }
  return key;
}

/// What of the registry is watched, as WMI asks for it.
struct Target {
  SupervisionType type;
  std::string event_class;
  std::string filter;  ///< what follows the hive
};

Target target_of(const std::string& key, const std::string& hive, const std::string& path,
                 const std::string& value, bool check_tree_change) {
  // Two blanks before these ANDs. A value has no tree: its name alone decides.
  if (!value.empty()) {
    return {SupervisionType::registry_value, "RegistryValueChangeEvent",
            "  AND KeyPath='" + path + "'  AND ValueName='" + value + "'"};
  }
  if (path.empty() && hive.empty()) {
    throw Error(kSupervisionError, kComponentName, "Incorrect registry key: '" + key + "'");
  }
  const auto filter = [&](std::string_view property) {
    return path.empty() ? "" : "  AND " + std::string(property) + "='" + path + "'";
  };
  if (check_tree_change) {
    return {SupervisionType::registry_tree, "RegistryTreeChangeEvent", filter("RootPath")};
  }
  return {SupervisionType::registry_key, "RegistryKeyChangeEvent", filter("KeyPath")};
}

}  // namespace

std::int32_t Supervision::m_SuperviseRegistry(std::int32_t f_lngCurrentStepId,
                                              std::int32_t f_lngSupervisionId, const std::string& f_strKey,
                                              bool f_blnCheckTreeChange, const std::string& f_strValue,
                                              std::int32_t f_lngPollingPeriod, std::int32_t f_lngGroupPeriod,
                                              std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected,
                                              bool f_blnUse32RegEnv) {
  return kRequest("m_SuperviseRegistry", [&] {
    const bool emulated = PublicFunctions::IsWow64(engine_->ground().system_info()) != 0;
    const std::string key = emulated && f_blnUse32RegEnv ? in_32_bit_view(f_strKey) : f_strKey;
    const std::size_t end_of_hive = key.find('\\');
    const std::string hive = key.substr(0, end_of_hive);
    const std::string path =
        end_of_hive == std::string::npos ? "" : doubled(std::string_view(key).substr(end_of_hive + 1));
    const Target target = target_of(key, hive, path, f_strValue, f_blnCheckTreeChange);
    const std::string query = "SELECT * FROM " + target.event_class + " " + within(f_lngPollingPeriod) +
                              "WHERE Hive='" + hive + "'" + target.filter +
                              strGetGroupClause(f_lngGroupPeriod, f_lngGroupThreshold);

    const wmi::NamedValues options{
        {"__ProviderArchitecture", wmi::Value(static_cast<std::int16_t>(emulated ? 64 : 32))}};
    // The type comes first, here alone.
    const wmi::NamedValues values{
        {context::kSupervisionType, wmi::Value(static_cast<std::int16_t>(target.type))},
        {context::kSupervisionId, wmi::Value(f_lngSupervisionId)},
        {context::kCurrentStepId, wmi::Value(f_lngCurrentStepId)}};
    engine_->subscribe(engine_->root_default(), query, values, &options);
    engine_->AddSupervision(f_lngCurrentStepId, f_lngSupervisionId, f_blnNotifyIfUndetected);
    return 0;
  });
}

}  // namespace kvwmi
