#include "kvwmi/supervision.h"

#include <memory>

#include "frame/ground.h"
#include "windows/automation/module.h"
#include "windows/com/built_class.h"
#include "windows/com/kvwmi.h"
#include "windows/com/object.h"

namespace kvwmi::com {
namespace {

/// An engine that has not been released outlives every reference to its object, and so must this module.
class ModuleSupervision : public Supervision {
 public:
  ModuleSupervision() : Supervision(local_ground(), std::make_shared<ModuleUse>()) {}

  [[nodiscard]] const std::string& event_name() const { return p_strSupervisionEventName(); }
  void name_event(const std::string& name) { p_strSupervisionEventName(name); }
};

class SupervisionObject final : public Object<_Supervision, ModuleSupervision> {
 public:
  using Object::Object;

  HRESULT STDMETHODCALLTYPE get_p_strSupervisionEventName(BSTR* result) override {
    return call(&ModuleSupervision::event_name, result);
  }
  HRESULT STDMETHODCALLTYPE put_p_strSupervisionEventName(BSTR* f_strSupervisionEventName) override {
    return call(&ModuleSupervision::name_event, f_strSupervisionEventName);
  }
  HRESULT STDMETHODCALLTYPE m_Initialize() override { return call(&Supervision::m_Initialize); }
  HRESULT STDMETHODCALLTYPE m_Release() override { return call(&Supervision::m_Release); }
  HRESULT STDMETHODCALLTYPE m_PopEventInfos(LONG f_lngCurrentStepId, LONG* f_lngSupervisionId,
                                            BSTR* f_strSupervisionDetail) override {
    return call(&Supervision::m_PopEventInfos, f_lngCurrentStepId, f_lngSupervisionId,
                f_strSupervisionDetail);
  }
  HRESULT STDMETHODCALLTYPE m_PushUndetectedEventInfos() override {
    return call(&Supervision::m_PushUndetectedEventInfos);
  }

  HRESULT STDMETHODCALLTYPE m_SuperviseDiskFreeSpace(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                                     BSTR f_strName, LONG f_lngCondition, CY f_curValue,
                                                     LONG f_lngUnit, LONG f_lngPollingPeriod,
                                                     LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                                                     VARIANT_BOOL f_blnNotifyIfUndetected,
                                                     LONG* result) override {
    return call(&Supervision::m_SuperviseDiskFreeSpace, result, f_lngCurrentStepId, f_lngSupervisionId,
                f_strName, f_lngCondition, f_curValue, f_lngUnit, f_lngPollingPeriod, f_lngGroupPeriod,
                f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseFile(LONG f_lngCurrentStepId, LONG f_lngSupervisionId, BSTR f_strName,
                                            VARIANT_BOOL f_blnCreate, VARIANT_BOOL f_blnDelete,
                                            VARIANT_BOOL f_blnModify, LONG f_lngPollingPeriod,
                                            LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                                            VARIANT_BOOL f_blnNotifyIfUndetected, LONG* result) override {
    return call(&Supervision::m_SuperviseFile, result, f_lngCurrentStepId, f_lngSupervisionId, f_strName,
                f_blnCreate, f_blnDelete, f_blnModify, f_lngPollingPeriod, f_lngGroupPeriod,
                f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseFileInDirectory(
      LONG f_lngCurrentStepId, LONG f_lngSupervisionId, BSTR f_strName, BSTR f_strRootDirectory,
      VARIANT_BOOL f_blnSearchInSubDirectories, VARIANT_BOOL f_blnCreate, VARIANT_BOOL f_blnDelete,
      LONG f_lngPollingPeriod, LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
      VARIANT_BOOL f_blnNotifyIfUndetected, LONG* result) override {
    return call(&Supervision::m_SuperviseFileInDirectory, result, f_lngCurrentStepId, f_lngSupervisionId,
                f_strName, f_strRootDirectory, f_blnSearchInSubDirectories, f_blnCreate, f_blnDelete,
                f_lngPollingPeriod, f_lngGroupPeriod, f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseDirectory(
      LONG f_lngCurrentStepId, LONG f_lngSupervisionId, BSTR f_strName, VARIANT_BOOL f_blnCreate,
      VARIANT_BOOL f_blnDelete, VARIANT_BOOL f_blnModify, LONG f_lngPollingPeriod, LONG f_lngGroupPeriod,
      LONG f_lngGroupThreshold, VARIANT_BOOL f_blnNotifyIfUndetected, LONG* result) override {
    return call(&Supervision::m_SuperviseDirectory, result, f_lngCurrentStepId, f_lngSupervisionId, f_strName,
                f_blnCreate, f_blnDelete, f_blnModify, f_lngPollingPeriod, f_lngGroupPeriod,
                f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseEventLog(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                                BSTR f_strLogFile, LONG f_lngType, BSTR f_strSourceName,
                                                LONG f_lngCode, LONG f_lngPollingPeriod,
                                                LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                                                VARIANT_BOOL f_blnNotifyIfUndetected, LONG* result) override {
    return call(&Supervision::m_SuperviseEventLog, result, f_lngCurrentStepId, f_lngSupervisionId,
                f_strLogFile, f_lngType, f_strSourceName, f_lngCode, f_lngPollingPeriod, f_lngGroupPeriod,
                f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseRegistry(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                                BSTR f_strKey, VARIANT_BOOL f_blnCheckTreeChange,
                                                BSTR f_strValue, LONG f_lngPollingPeriod,
                                                LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                                                VARIANT_BOOL f_blnNotifyIfUndetected,
                                                VARIANT_BOOL f_blnUse32RegEnv, LONG* result) override {
    return call(&Supervision::m_SuperviseRegistry, result, f_lngCurrentStepId, f_lngSupervisionId, f_strKey,
                f_blnCheckTreeChange, f_strValue, f_lngPollingPeriod, f_lngGroupPeriod, f_lngGroupThreshold,
                f_blnNotifyIfUndetected, f_blnUse32RegEnv);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseService(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                               BSTR f_strName, VARIANT_BOOL f_blnStart,
                                               VARIANT_BOOL f_blnStop, LONG f_lngPollingPeriod,
                                               LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                                               VARIANT_BOOL f_blnNotifyIfUndetected, LONG* result) override {
    return call(&Supervision::m_SuperviseService, result, f_lngCurrentStepId, f_lngSupervisionId, f_strName,
                f_blnStart, f_blnStop, f_lngPollingPeriod, f_lngGroupPeriod, f_lngGroupThreshold,
                f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SupervisePowerSource(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                                   LONG f_lngState, LONG f_lngPollingPeriod,
                                                   LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                                                   VARIANT_BOOL f_blnNotifyIfUndetected,
                                                   LONG* result) override {
    return call(&Supervision::m_SupervisePowerSource, result, f_lngCurrentStepId, f_lngSupervisionId,
                f_lngState, f_lngPollingPeriod, f_lngGroupPeriod, f_lngGroupThreshold,
                f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseProcess(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                               BSTR f_strName, VARIANT_BOOL f_blnCreate,
                                               VARIANT_BOOL f_blnTerminate, LONG f_lngPollingPeriod,
                                               LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                                               VARIANT_BOOL f_blnNotifyIfUndetected, LONG* result) override {
    return call(&Supervision::m_SuperviseProcess, result, f_lngCurrentStepId, f_lngSupervisionId, f_strName,
                f_blnCreate, f_blnTerminate, f_lngPollingPeriod, f_lngGroupPeriod, f_lngGroupThreshold,
                f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseProcessMemorySize(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                                         BSTR f_strName, LONG f_lngCondition, CY f_curValue,
                                                         LONG f_lngUnit, LONG f_lngPollingPeriod,
                                                         LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                                                         VARIANT_BOOL f_blnNotifyIfUndetected,
                                                         LONG* result) override {
    return call(&Supervision::m_SuperviseProcessMemorySize, result, f_lngCurrentStepId, f_lngSupervisionId,
                f_strName, f_lngCondition, f_curValue, f_lngUnit, f_lngPollingPeriod, f_lngGroupPeriod,
                f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseFreePhysicalMemorySize(
      LONG f_lngCurrentStepId, LONG f_lngSupervisionId, LONG f_lngCondition, CY f_curValue, LONG f_lngUnit,
      LONG f_lngPollingPeriod, LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
      VARIANT_BOOL f_blnNotifyIfUndetected, LONG* result) override {
    return call(&Supervision::m_SuperviseFreePhysicalMemorySize, result, f_lngCurrentStepId,
                f_lngSupervisionId, f_lngCondition, f_curValue, f_lngUnit, f_lngPollingPeriod,
                f_lngGroupPeriod, f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseFreeVirtualMemorySize(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                                             LONG f_lngCondition, CY f_curValue,
                                                             LONG f_lngUnit, LONG f_lngPollingPeriod,
                                                             LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                                                             VARIANT_BOOL f_blnNotifyIfUndetected,
                                                             LONG* result) override {
    return call(&Supervision::m_SuperviseFreeVirtualMemorySize, result, f_lngCurrentStepId,
                f_lngSupervisionId, f_lngCondition, f_curValue, f_lngUnit, f_lngPollingPeriod,
                f_lngGroupPeriod, f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseFreePagingFilesSize(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                                           LONG f_lngCondition, CY f_curValue, LONG f_lngUnit,
                                                           LONG f_lngPollingPeriod, LONG f_lngGroupPeriod,
                                                           LONG f_lngGroupThreshold,
                                                           VARIANT_BOOL f_blnNotifyIfUndetected,
                                                           LONG* result) override {
    return call(&Supervision::m_SuperviseFreePagingFilesSize, result, f_lngCurrentStepId, f_lngSupervisionId,
                f_lngCondition, f_curValue, f_lngUnit, f_lngPollingPeriod, f_lngGroupPeriod,
                f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseProcessorLoadPercentage(
      LONG f_lngCurrentStepId, LONG f_lngSupervisionId, LONG f_lngCondition, LONG f_lngPercentage,
      LONG f_lngPollingPeriod, LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
      VARIANT_BOOL f_blnNotifyIfUndetected, LONG* result) override {
    return call(&Supervision::m_SuperviseProcessorLoadPercentage, result, f_lngCurrentStepId,
                f_lngSupervisionId, f_lngCondition, f_lngPercentage, f_lngPollingPeriod, f_lngGroupPeriod,
                f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseWindow(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                              BSTR f_strName, VARIANT_BOOL f_blnOpen, VARIANT_BOOL f_blnClose,
                                              LONG f_lngPollingPeriod, LONG f_lngGroupPeriod,
                                              LONG f_lngGroupThreshold, VARIANT_BOOL f_blnNotifyIfUndetected,
                                              LONG* result) override {
    return call(&Supervision::m_SuperviseWindow, result, f_lngCurrentStepId, f_lngSupervisionId, f_strName,
                f_blnOpen, f_blnClose, f_lngPollingPeriod, f_lngGroupPeriod, f_lngGroupThreshold,
                f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE m_SuperviseIPAddress(LONG f_lngCurrentStepId, LONG f_lngSupervisionId,
                                                 BSTR f_strDefFileName, BSTR f_strFilter,
                                                 VARIANT_BOOL f_blnCheckModification,
                                                 VARIANT_BOOL f_blnCheckAbsence, LONG f_lngPollingPeriod,
                                                 LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                                                 VARIANT_BOOL f_blnNotifyIfUndetected,
                                                 LONG* result) override {
    return call(&Supervision::m_SuperviseIPAddress, result, f_lngCurrentStepId, f_lngSupervisionId,
                f_strDefFileName, f_strFilter, f_blnCheckModification, f_blnCheckAbsence, f_lngPollingPeriod,
                f_lngGroupPeriod, f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE
  m_SuperviseNetworkInterfaces(LONG f_lngCurrentStepId, LONG f_lngSupervisionId, BSTR f_strDefFileName,
                               VARIANT_BOOL f_blnCheckActivation, VARIANT_BOOL f_blnCheckDeactivation,
                               LONG f_lngPollingPeriod, LONG f_lngGroupPeriod, LONG f_lngGroupThreshold,
                               VARIANT_BOOL f_blnNotifyIfUndetected, LONG* result) override {
    return call(&Supervision::m_SuperviseNetworkInterfaces, result, f_lngCurrentStepId, f_lngSupervisionId,
                f_strDefFileName, f_blnCheckActivation, f_blnCheckDeactivation, f_lngPollingPeriod,
                f_lngGroupPeriod, f_lngGroupThreshold, f_blnNotifyIfUndetected);
  }
};

const BuiltClass kClass("Supervision", make_object<SupervisionObject>);

}  // namespace
}  // namespace kvwmi::com
