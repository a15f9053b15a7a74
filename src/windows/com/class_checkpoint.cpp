#include "kvwmi/checkpoint.h"

#include "windows/com/built_class.h"
#include "windows/com/kvwmi.h"
#include "windows/com/object.h"

namespace kvwmi::com {
namespace {

class CheckPointObject final : public Object<_CheckPoint, CheckPoint> {
 public:
  using Object::Object;

  HRESULT STDMETHODCALLTYPE m_GetPowerSource(LONG* f_lngState, LONG* result) override {
    return call(&CheckPoint::m_GetPowerSource, result, f_lngState);
  }
  HRESULT STDMETHODCALLTYPE m_GetServiceState(BSTR f_strName, LONG* f_lngState, LONG* result) override {
    return call(&CheckPoint::m_GetServiceState, result, f_strName, f_lngState);
  }
  HRESULT STDMETHODCALLTYPE m_GetServiceExistence(BSTR f_strName, VARIANT_BOOL* f_blnExist,
                                                  LONG* result) override {
    return call(&CheckPoint::m_GetServiceExistence, result, f_strName, f_blnExist);
  }
  HRESULT STDMETHODCALLTYPE m_GetProcessExistence(BSTR f_strName, VARIANT_BOOL* f_blnExist,
                                                  LONG* result) override {
    return call(&CheckPoint::m_GetProcessExistence, result, f_strName, f_blnExist);
  }
  HRESULT STDMETHODCALLTYPE m_GetProcessMemorySize(BSTR f_strName, CY* f_curSize, LONG* result) override {
    return call(&CheckPoint::m_GetProcessMemorySize, result, f_strName, f_curSize);
  }
  HRESULT STDMETHODCALLTYPE m_GetProcessCPULoadPercentage(BSTR f_strName, LONG* f_lngPercentage,
                                                          LONG* result) override {
    return call(&CheckPoint::m_GetProcessCPULoadPercentage, result, f_strName, f_lngPercentage);
  }
  HRESULT STDMETHODCALLTYPE m_GetFreePhysicalMemorySize(CY* f_curSize, LONG* result) override {
    return call(&CheckPoint::m_GetFreePhysicalMemorySize, result, f_curSize);
  }
  HRESULT STDMETHODCALLTYPE m_GetPhysicalMemorySize(CY* f_curSize, LONG* result) override {
    return call(&CheckPoint::m_GetPhysicalMemorySize, result, f_curSize);
  }
  HRESULT STDMETHODCALLTYPE m_GetFreeVirtualMemorySize(CY* f_curSize, LONG* result) override {
    return call(&CheckPoint::m_GetFreeVirtualMemorySize, result, f_curSize);
  }
  HRESULT STDMETHODCALLTYPE m_GetVirtualMemorySize(CY* f_curSize, LONG* result) override {
    return call(&CheckPoint::m_GetVirtualMemorySize, result, f_curSize);
  }
  HRESULT STDMETHODCALLTYPE m_GetFreePagingFilesSize(CY* f_curSize, LONG* result) override {
    return call(&CheckPoint::m_GetFreePagingFilesSize, result, f_curSize);
  }
  HRESULT STDMETHODCALLTYPE m_GetPagingFilesSize(CY* f_curSize, LONG* result) override {
    return call(&CheckPoint::m_GetPagingFilesSize, result, f_curSize);
  }
  HRESULT STDMETHODCALLTYPE m_GetProcessorLoadPercentage(LONG* f_lngPercentage, LONG* result) override {
    return call(&CheckPoint::m_GetProcessorLoadPercentage, result, f_lngPercentage);
  }
};

const BuiltClass kClass("CheckPoint", make_object<CheckPointObject>);

}  // namespace
}  // namespace kvwmi::com
