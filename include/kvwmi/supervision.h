#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kvwmi/currency.h"
#include "kvwmi/export.h"

namespace kvwmi {

class Ground;
class SupervisionEngine;

/// Watches the local machine for an agent that works in numbered steps.
///
/// Name the agent's event, call `m_Initialize`, then ask for watches. Each watch carries the identifiers of
/// its step and of itself. A watch that fires appends a record to the engine's queue and sets the named
/// event; the agent then calls `m_PopEventInfos` for its step until it yields supervision 0. Notifications
/// and polls are delivered by the message loop of the thread that made the object, which must therefore run
/// one (see message_loop.h); every call belongs on that thread.
///
/// A copy is one more reference to the same engine. An initialised engine stays alive, and keeps watching,
/// until `m_Release` has been called, also without any reference to it.
///
/// Failures raise Error with Number 0x8004020F; Source has a line "KVWMI : Supervision." + routine for each
/// that they came through, the method's own last; the queue operations keep the inner number. Requests return
/// 0. Those that WMI serves fail before
/// `m_Initialize` and after `m_Release`. A request that WMI refuses is not registered; queries that it made
/// before the refused one stay subscribed, and nothing comes of their events.
///
/// Common arguments of the requests:
/// - `f_lngPollingPeriod`: whole seconds between two looks at the machine, 1 or more; WMI refuses another one
///   ("Invalid query " for 0, "Unparsable query. " for a negative one);
/// - `f_lngGroupPeriod`: whole seconds over which events are gathered into one, 0 for no gathering; WMI
///   refuses a negative one;
/// - `f_lngGroupThreshold`: events that a group must have at least to be reported, 0 for any;
/// - `f_blnNotifyIfUndetected`: report at `m_PushUndetectedEventInfos` that the watch did not fire, instead
///   of reporting that it did. A polled watch reports both.
///
/// Names go into WMI's queries between single quotes as given, except where a request says otherwise: one
/// with a single quote in it is refused.
class KVWMI_API Supervision {
 public:
  /// Connects to nothing yet, so it cannot fail for lack of WMI.
  Supervision();
  /// For the component's own doors and tests; programs take the one above. `companion` lives as long as the
  /// engine and the timer that it has started, so possibly longer than every reference: for example a lock on
  /// the module that holds their code.
  explicit Supervision(Ground& ground, std::shared_ptr<void> companion = nullptr);
  Supervision(const Supervision&);
  Supervision& operator=(const Supervision&);
  ~Supervision();

  /// @name Life and signalling
  /// @{

  /// Name of the agent's event, set at each queued record. Empty, or a name that no event has, signals
  /// nothing.
  [[nodiscard]] const std::string& p_strSupervisionEventName() const;
  void p_strSupervisionEventName(const std::string& name);

  /// Connects to root\CIMV2 and root\DEFAULT and starts to listen. Where WMI's scripting component is absent
  /// the Description is "WMI not installed". Called twice, the engine is polled twice and needs two releases,
  /// and the watches that WMI served until then end without a word.
  void m_Initialize();
  /// Drops the connections, and with them every WMI watch, and the polls. The queue keeps its records.
  void m_Release();

  /// @}
  /// @name Queue
  /// @{

  /// Takes the oldest record of a step; 0 and "" when it has none.
  void m_PopEventInfos(std::int32_t f_lngCurrentStepId, std::int32_t& f_lngSupervisionId,
                       std::string& f_strSupervisionDetail);
  /// Queues one record, without a detail, for each watch of any step that asked to be told so and has not
  /// fired. Signals nothing. A polled watch never counts as fired here.
  void m_PushUndetectedEventInfos();

  /// @}
  /// @name Thresholds
  ///
  /// `f_lngCondition` compares the machine's value with `f_curValue`: 1 greater, 2 less, 3 greater or equal,
  /// 4 less or equal, 5 equal, 6 different; another one raises "Condition unknown: '7'". `f_lngUnit` is 0
  /// bytes, 1 kilobytes, 2 megabytes, 3 gigabytes (factors of 1024) or 4 percent of a capacity read now. Both
  /// have names in codes.h. A threshold or product beyond the currency range raises "Overflow". The detail
  /// reads "Value: 1234 Bytes".
  /// @{

  /// Free space of the local fixed disk whose letter begins `f_strName`. Detail in bytes. A percentage of a
  /// disk that is not there raises "Cannot retrieve disk capacity: 'Q:'".
  std::int32_t m_SuperviseDiskFreeSpace(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                        const std::string& f_strName, std::int32_t f_lngCondition,
                                        Currency f_curValue, std::int32_t f_lngUnit,
                                        std::int32_t f_lngPollingPeriod = 5,
                                        std::int32_t f_lngGroupPeriod = 0,
                                        std::int32_t f_lngGroupThreshold = 0,
                                        bool f_blnNotifyIfUndetected = false);
  /// Working set of each process of that image name. Detail in bytes. A percentage is of the paging files'
  /// size.
  std::int32_t m_SuperviseProcessMemorySize(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                            const std::string& f_strName, std::int32_t f_lngCondition,
                                            Currency f_curValue, std::int32_t f_lngUnit,
                                            std::int32_t f_lngPollingPeriod = 5,
                                            std::int32_t f_lngGroupPeriod = 0,
                                            std::int32_t f_lngGroupThreshold = 0,
                                            bool f_blnNotifyIfUndetected = false);
  /// The three machine-wide sizes have details in kilobytes. A percentage is of the visible physical memory,
  /// of the whole virtual memory, of the paging files' size; "Cannot retrieve memory capacity" without one.
  std::int32_t m_SuperviseFreePhysicalMemorySize(std::int32_t f_lngCurrentStepId,
                                                 std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
                                                 Currency f_curValue, std::int32_t f_lngUnit,
                                                 std::int32_t f_lngPollingPeriod = 5,
                                                 std::int32_t f_lngGroupPeriod = 0,
                                                 std::int32_t f_lngGroupThreshold = 0,
                                                 bool f_blnNotifyIfUndetected = false);
  std::int32_t m_SuperviseFreeVirtualMemorySize(std::int32_t f_lngCurrentStepId,
                                                std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
                                                Currency f_curValue, std::int32_t f_lngUnit,
                                                std::int32_t f_lngPollingPeriod = 5,
                                                std::int32_t f_lngGroupPeriod = 0,
                                                std::int32_t f_lngGroupThreshold = 0,
                                                bool f_blnNotifyIfUndetected = false);
  std::int32_t m_SuperviseFreePagingFilesSize(std::int32_t f_lngCurrentStepId,
                                              std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
                                              Currency f_curValue, std::int32_t f_lngUnit,
                                              std::int32_t f_lngPollingPeriod = 5,
                                              std::int32_t f_lngGroupPeriod = 0,
                                              std::int32_t f_lngGroupThreshold = 0,
                                              bool f_blnNotifyIfUndetected = false);
  /// Load of each processor, in whole percent from 0 to 100, compared with `f_lngPercentage`, which may be
  /// any number. Detail "Value: 12 %".
  std::int32_t m_SuperviseProcessorLoadPercentage(
      std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
      std::int32_t f_lngPercentage, std::int32_t f_lngPollingPeriod = 5, std::int32_t f_lngGroupPeriod = 0,
      std::int32_t f_lngGroupThreshold = 0, bool f_blnNotifyIfUndetected = false);

  /// @}
  /// @name Changes of state, without a detail
  /// @{

  /// The service of that display name reaching the running or the stopped state; with neither, any change of
  /// the service's instance.
  std::int32_t m_SuperviseService(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                  const std::string& f_strName, bool f_blnStart = true, bool f_blnStop = true,
                                  std::int32_t f_lngPollingPeriod = 5, std::int32_t f_lngGroupPeriod = 0,
                                  std::int32_t f_lngGroupThreshold = 0, bool f_blnNotifyIfUndetected = false);
  /// The machine changing to mains power (25) or to battery power (any other value, by convention 26). Never
  /// fires on a machine without a battery.
  std::int32_t m_SupervisePowerSource(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                      std::int32_t f_lngState = 25, std::int32_t f_lngPollingPeriod = 5,
                                      std::int32_t f_lngGroupPeriod = 0, std::int32_t f_lngGroupThreshold = 0,
                                      bool f_blnNotifyIfUndetected = false);
  /// A process of that image name starting or ending. With neither, the watch never fires.
  std::int32_t m_SuperviseProcess(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                  const std::string& f_strName, bool f_blnCreate = true,
                                  bool f_blnTerminate = true, std::int32_t f_lngPollingPeriod = 5,
                                  std::int32_t f_lngGroupPeriod = 0, std::int32_t f_lngGroupThreshold = 0,
                                  bool f_blnNotifyIfUndetected = false);

  /// @}
  /// @name Files, the event log and the registry
  /// @{

  /// The file of that full path coming, going or changing; without a detail. With none of the three the watch
  /// never fires. A name that begins with two backslashes raises "Use of UNC format file names is not
  /// authorized: " and the name.
  std::int32_t m_SuperviseFile(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                               const std::string& f_strName, bool f_blnCreate = true, bool f_blnDelete = true,
                               bool f_blnModify = true, std::int32_t f_lngPollingPeriod = 5,
                               std::int32_t f_lngGroupPeriod = 0, std::int32_t f_lngGroupThreshold = 0,
                               bool f_blnNotifyIfUndetected = false);
  /// Files coming into or going from a directory whose names match `f_strName` (`*`, `?`, several patterns
  /// separated by ";"). An empty `f_strName` takes the last component of `f_strRootDirectory` for the
  /// pattern. The detail reads `File: "C:\logs\a.txt"`. A network name is refused as above; a single quote in
  /// the directory's name is not. With `f_blnSearchInSubDirectories` the directories below are watched too,
  /// those that exist now; each level that a failure comes through adds its line to Source.
  std::int32_t m_SuperviseFileInDirectory(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                          const std::string& f_strName, const std::string& f_strRootDirectory,
                                          bool f_blnSearchInSubDirectories = false, bool f_blnCreate = true,
                                          bool f_blnDelete = true, std::int32_t f_lngPollingPeriod = 5,
                                          std::int32_t f_lngGroupPeriod = 0,
                                          std::int32_t f_lngGroupThreshold = 0,
                                          bool f_blnNotifyIfUndetected = false);
  /// The directory of that path coming, going or changing; without a detail. On a FAT or FAT32 drive content
  /// that comes or goes counts as a change, ungrouped. Backslashes at the end of the path do not count; a
  /// path of nothing else raises "Invalid procedure call or argument".
  std::int32_t m_SuperviseDirectory(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                    const std::string& f_strName, bool f_blnCreate = true,
                                    bool f_blnDelete = true, bool f_blnModify = true,
                                    std::int32_t f_lngPollingPeriod = 5, std::int32_t f_lngGroupPeriod = 0,
                                    std::int32_t f_lngGroupThreshold = 0,
                                    bool f_blnNotifyIfUndetected = false);
  /// Each new entry of the event log `f_strLogFile` ("" or "All", in any case, for every log), of the type
  /// `f_lngType` (0 for any; also any where entries have no numeric type), of the source `f_strSourceName`
  /// ("" for any) and with the code `f_lngCode` (negative for any). The detail has seven lines, "Log",
  /// "Type", "Source", "Event ID", "Date", "Time" and "Description". Without event logs it raises "Cannot
  /// find event log.".
  std::int32_t m_SuperviseEventLog(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                   const std::string& f_strLogFile = "", std::int32_t f_lngType = 0,
                                   const std::string& f_strSourceName = "", std::int32_t f_lngCode = -1,
                                   std::int32_t f_lngPollingPeriod = 5, std::int32_t f_lngGroupPeriod = 0,
                                   std::int32_t f_lngGroupThreshold = 0,
                                   bool f_blnNotifyIfUndetected = false);
  /// A registry key changing, or everything below it (`f_blnCheckTreeChange`), or one value alone
  /// (`f_strValue`); without a detail. `f_strKey` begins with the hive, for example HKEY_LOCAL_MACHINE; one
  /// without hive and path raises "Incorrect registry key: ''". In a 32-bit process on a 64-bit system,
  /// `f_blnUse32RegEnv` takes keys below HKEY_CURRENT_USER\SOFTWARE and HKEY_LOCAL_MACHINE\SOFTWARE, in
  /// these letters, to the 32-bit view.
  std::int32_t m_SuperviseRegistry(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                   const std::string& f_strKey, bool f_blnCheckTreeChange = false,
                                   const std::string& f_strValue = "", std::int32_t f_lngPollingPeriod = 5,
                                   std::int32_t f_lngGroupPeriod = 0, std::int32_t f_lngGroupThreshold = 0,
                                   bool f_blnNotifyIfUndetected = false, bool f_blnUse32RegEnv = false);

  /// @}
  /// @name Polled by the thread's timer, without a detail
  ///
  /// One timer serves all engines of a thread; its interval is the greatest common divisor of the polling
  /// periods. A polling period below 1 second raises "Invalid procedure call or argument". With a group
  /// period and no threshold, a record is queued at the end of every group period, changes or not.
  /// @{

  /// A top-level window with exactly that title appearing or disappearing.
  std::int32_t m_SuperviseWindow(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                 const std::string& f_strName, bool f_blnOpen = true, bool f_blnClose = true,
                                 std::int32_t f_lngPollingPeriod = 5, std::int32_t f_lngGroupPeriod = 0,
                                 std::int32_t f_lngGroupThreshold = 0, bool f_blnNotifyIfUndetected = false);
  /// The machine's addresses differing from a definition file of the KVIPAddress library, or being absent.
  std::int32_t m_SuperviseIPAddress(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                    const std::string& f_strDefFileName, const std::string& f_strFilter,
                                    bool f_blnCheckModification = true, bool f_blnCheckAbsence = true,
                                    std::int32_t f_lngPollingPeriod = 5, std::int32_t f_lngGroupPeriod = 0,
                                    std::int32_t f_lngGroupThreshold = 0,
                                    bool f_blnNotifyIfUndetected = false);
  /// Network interfaces coming up or going down since the state that the KVIPAddress library keeps in the
  /// file. The engine's first poll only records the state; the file is deleted with the engine.
  std::int32_t m_SuperviseNetworkInterfaces(
      std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, const std::string& f_strDefFileName,
      bool f_blnCheckActivation = true, bool f_blnCheckDeactivation = false,
      std::int32_t f_lngPollingPeriod = 5, std::int32_t f_lngGroupPeriod = 0,
      std::int32_t f_lngGroupThreshold = 0, bool f_blnNotifyIfUndetected = false);

  /// @}

 private:
  std::shared_ptr<SupervisionEngine> engine_;
};

}  // namespace kvwmi
