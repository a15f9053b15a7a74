#include "kvwmi/supervision_infos.h"
#include "windows/com/built_class.h"
#include "windows/com/kvwmi.h"
#include "windows/com/object.h"

namespace kvwmi::com {
namespace {

class SupervisionInfosObject final : public Object<_SupervisionInfos, SupervisionInfos> {
 public:
  using Object::Object;

  HRESULT STDMETHODCALLTYPE get_p_lngCurrentStepId(LONG* result) override {
    return get(&SupervisionInfos::p_lngCurrentStepId, result);
  }
  HRESULT STDMETHODCALLTYPE put_p_lngCurrentStepId(LONG f_lngCurrentStepId) override {
    return let(&SupervisionInfos::p_lngCurrentStepId, f_lngCurrentStepId);
  }
  HRESULT STDMETHODCALLTYPE get_p_lngSupervisionId(LONG* result) override {
    return get(&SupervisionInfos::p_lngSupervisionId, result);
  }
  HRESULT STDMETHODCALLTYPE put_p_lngSupervisionId(LONG f_lngSupervisionId) override {
    return let(&SupervisionInfos::p_lngSupervisionId, f_lngSupervisionId);
  }
  HRESULT STDMETHODCALLTYPE get_p_strDetail(BSTR* result) override {
    return get(&SupervisionInfos::p_strDetail, result);
  }
  HRESULT STDMETHODCALLTYPE put_p_strDetail(BSTR f_strDetail) override {
    return let(&SupervisionInfos::p_strDetail, f_strDetail);
  }
  HRESULT STDMETHODCALLTYPE get_p_blnNotifyIfUndetected(VARIANT_BOOL* result) override {
    return get(&SupervisionInfos::p_blnNotifyIfUndetected, result);
  }
  HRESULT STDMETHODCALLTYPE put_p_blnNotifyIfUndetected(VARIANT_BOOL f_blnNotifyIfUndetected) override {
    return let(&SupervisionInfos::p_blnNotifyIfUndetected, f_blnNotifyIfUndetected);
  }
  HRESULT STDMETHODCALLTYPE get_p_blnHasBeenDetected(VARIANT_BOOL* result) override {
    return get(&SupervisionInfos::p_blnHasBeenDetected, result);
  }
  HRESULT STDMETHODCALLTYPE put_p_blnHasBeenDetected(VARIANT_BOOL f_blnHasBeenDetected) override {
    return let(&SupervisionInfos::p_blnHasBeenDetected, f_blnHasBeenDetected);
  }
};

const BuiltClass kClass("SupervisionInfos", make_object<SupervisionInfosObject>);

}  // namespace
}  // namespace kvwmi::com
