#include <string_view>
#include <vector>

#include "frame/conversion.h"
#include "frame/runtime_error.h"
#include "kvwmi/supervision.h"
#include "supervision/clauses.h"
#include "supervision/engine.h"
#include "supervision/frames.h"
#include "supervision/query_text.h"

namespace kvwmi {
namespace {

using supervision::doubled;
using supervision::kCreation;
using supervision::kDeletion;
using supervision::kModification;
using supervision::kRequest;
using supervision::replaced;
using supervision::strGetGroupClause;
using supervision::SupervisionType;
using supervision::within;
namespace context = supervision::context;

void refuse_network_name(const std::string& path) {
  if (!path.starts_with(R"(\\)")) return;
  throw Error(kSupervisionError, "CIM_DataFile", "Use of UNC format file names is not authorized: " + path);
}

/// The event queries for the kinds of change that a client asked for.
std::vector<std::string> queries_of(bool create, bool remove, bool modify, const std::string& tail) {
  std::vector<std::string> queries;
  if (create) queries.push_back(kCreation + tail);
  if (remove) queries.push_back(kDeletion + tail);
  if (modify) queries.push_back(kModification + tail);
  return queries;
}

std::string without_trailing_backslashes(std::string_view path) {
  while (path.ends_with('\\')) path.remove_suffix(1);
  if (path.empty()) throw runtime_error(RuntimeError::invalid_procedure_call);
  return std::string(path);
}

bool is_on_fat(wmi::Services& services, const std::string& path) {
  const auto disks = services.exec_query("SELECT FileSystem FROM Win32_LogicalDisk WHERE DeviceID='" +
                                         supervision::first_characters(path, 2) + "'");
  if (disks->count() == 0) return false;
  const wmi::Value file_system = wmi::first_of(*disks)->get("FileSystem");
  if (file_system.is_null()) return false;
  const std::string name = to_text(file_system);
  return name == "FAT" || name == "FAT32";
}

/// A FAT directory's own instance does not tell that its content changed; files and subdirectories coming and
/// going do. `name` is the directory's name with its backslashes doubled.
std::vector<std::string> fat_content_queries(const std::string& name, std::int32_t polling_period) {
  std::vector<std::string> queries;
  for (const char* association : {"CIM_DirectoryContainsFile", "Win32_SubDirectory"}) {
    for (const char* event : {kCreation, kDeletion}) {
      // "Targetinstance", three blanks before AND and one after "=", here alone. An object path within a text
      // literal, so the backslashes are doubled once more.
      queries.push_back(event + within(polling_period) + "WHERE Targetinstance ISA '" + association +
                        "'   AND TargetInstance.GroupComponent= 'Win32_Directory.Name=\"" + doubled(name) +
                        "\"'");
    }
  }
  return queries;
}

}  // namespace

std::int32_t Supervision::m_SuperviseFile(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                          const std::string& f_strName, bool f_blnCreate, bool f_blnDelete,
                                          bool f_blnModify, std::int32_t f_lngPollingPeriod,
                                          std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold,
                                          bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseFile", [&] {
    refuse_network_name(f_strName);
    const std::string tail =
        within(f_lngPollingPeriod) + "WHERE TargetInstance ISA 'CIM_DataFile'  AND TargetInstance.Name='" +
        doubled(f_strName) + "'" + strGetGroupClause(f_lngGroupPeriod, f_lngGroupThreshold);
    return engine_->watch(
        {f_lngCurrentStepId, f_lngSupervisionId, f_blnNotifyIfUndetected, SupervisionType::file},
        queries_of(f_blnCreate, f_blnDelete, f_blnModify, tail));
  });
}

std::int32_t Supervision::m_SuperviseFileInDirectory(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, const std::string& f_strName,
    const std::string& f_strRootDirectory, bool f_blnSearchInSubDirectories, bool f_blnCreate,
    bool f_blnDelete, std::int32_t f_lngPollingPeriod, std::int32_t f_lngGroupPeriod,
    std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseFileInDirectory", [&] {
    refuse_network_name(f_strRootDirectory);
    FileSystem& files = engine_->ground().file_system();
    std::string directory = f_strRootDirectory;
    std::string pattern = f_strName;
    if (f_strName.empty()) {
      directory = files.parent_folder_name(f_strRootDirectory);
      pattern = files.file_name(f_strRootDirectory);
    }
    if (directory.ends_with('\\')) directory.pop_back();
    // An object path within a text literal: backslashes are doubled twice, and quotes escaped, here alone.
    directory = replaced(doubled(doubled(directory)), "'", R"(\')");

    const std::string tail = within(f_lngPollingPeriod) +
                             "WHERE TargetInstance ISA 'CIM_DirectoryContainsFile'  AND "
                             "TargetInstance.groupcomponent='Win32_Directory.Name=\"" +
                             directory + "\"'" + strGetGroupClause(f_lngGroupPeriod, f_lngGroupThreshold);
    wmi::NamedValues values =
        SupervisionEngine::context_of({f_lngCurrentStepId, f_lngSupervisionId, f_blnNotifyIfUndetected,
                                       SupervisionType::file_in_directory});
    values.push_back({context::kFileName, wmi::Value(pattern)});
    for (const std::string& query : queries_of(f_blnCreate, f_blnDelete, false, tail)) {
      engine_->subscribe(engine_->cimv2(), query, values);
    }
    if (f_blnSearchInSubDirectories) {
      // The escaped text names the folder all the same: separators in a row count as one.
      for (const std::string& subfolder : files.subfolders(directory)) {
        m_SuperviseFileInDirectory(f_lngCurrentStepId, f_lngSupervisionId, pattern, subfolder,
                                   f_blnSearchInSubDirectories, f_blnCreate, f_blnDelete, f_lngPollingPeriod,
                                   f_lngGroupPeriod, f_lngGroupThreshold, f_blnNotifyIfUndetected);
      }
    }
    engine_->AddSupervision(f_lngCurrentStepId, f_lngSupervisionId, f_blnNotifyIfUndetected);
    return 0;
  });
}

std::int32_t Supervision::m_SuperviseDirectory(std::int32_t f_lngCurrentStepId,
                                               std::int32_t f_lngSupervisionId, const std::string& f_strName,
                                               bool f_blnCreate, bool f_blnDelete, bool f_blnModify,
                                               std::int32_t f_lngPollingPeriod, std::int32_t f_lngGroupPeriod,
                                               std::int32_t f_lngGroupThreshold,
                                               bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseDirectory", [&] {
    const std::string name = doubled(without_trailing_backslashes(f_strName));
    const std::string tail = within(f_lngPollingPeriod) +
                             "WHERE TargetInstance ISA 'Win32_Directory'  AND TargetInstance.Name='" + name +
                             "'" + strGetGroupClause(f_lngGroupPeriod, f_lngGroupThreshold);
    const wmi::NamedValues values = SupervisionEngine::context_of(
        {f_lngCurrentStepId, f_lngSupervisionId, f_blnNotifyIfUndetected, SupervisionType::directory});
    const auto subscribe_all = [&](const std::vector<std::string>& queries) {
      for (const std::string& query : queries) engine_->subscribe(engine_->cimv2(), query, values);
    };
    subscribe_all(queries_of(f_blnCreate, f_blnDelete, f_blnModify, tail));
    if (f_blnModify && is_on_fat(engine_->cimv2(), name)) {
      subscribe_all(fat_content_queries(name, f_lngPollingPeriod));
    }
    engine_->AddSupervision(f_lngCurrentStepId, f_lngSupervisionId, f_blnNotifyIfUndetected);
    return 0;
  });
}

}  // namespace kvwmi
