#include "windows/com/enumerator.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "windows/automation/implements.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::com {
namespace {

using ground::ComPtr;
using Items = std::vector<ComPtr<IDispatch>>;

class Enumerator final : public Implements<IEnumVARIANT, IDispatch> {
 public:
  Enumerator(std::shared_ptr<const Items> items, std::size_t next) : items_(std::move(items)), next_(next) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* values, ULONG* fetched) override {
    if (fetched) *fetched = 0;
    if (!values || (count != 1 && !fetched)) return E_POINTER;
    const std::size_t taken = std::min<std::size_t>(count, items_->size() - next_);
    for (std::size_t i = 0; i < taken; ++i) {
      VariantInit(&values[i]);
      V_VT(&values[i]) = VT_DISPATCH;
      V_DISPATCH(&values[i]) = ComPtr((*items_)[next_++]).detach();
    }
    if (fetched) *fetched = static_cast<ULONG>(taken);
    return taken == count ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    const std::size_t skipped = std::min<std::size_t>(count, items_->size() - next_);
    next_ += skipped;
    return skipped == count ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE Reset() override {
    next_ = 0;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** copy) override {
    if (!copy) return E_POINTER;
    *copy = new (std::nothrow) Enumerator(items_, next_);
    return *copy ? S_OK : E_OUTOFMEMORY;
  }

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 0;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) override {
    if (info) *info = nullptr;
    return E_NOTIMPL;
  }

  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT count, LCID, DISPID* ids) override {
    if (ids) std::fill_n(ids, count, DISPID_UNKNOWN);
    return DISP_E_UNKNOWNNAME;
  }

  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT* result,
                                   EXCEPINFO*, UINT*) override {
    if (id != DISPID_NEWENUM) return DISP_E_MEMBERNOTFOUND;
    if (arguments && arguments->cArgs != 0) return DISP_E_BADPARAMCOUNT;
    if (!result) return S_OK;
    VariantInit(result);
    V_VT(result) = VT_UNKNOWN;
    V_UNKNOWN(result) = static_cast<IEnumVARIANT*>(new (std::nothrow) Enumerator(items_, 0));
    return V_UNKNOWN(result) ? S_OK : E_OUTOFMEMORY;
  }

 private:
  std::shared_ptr<const Items> items_;
  std::size_t next_;
};

}  // namespace

ComPtr<IEnumVARIANT> make_enumerator(Items items) {
  return ComPtr<IEnumVARIANT>::own(new Enumerator(std::make_shared<const Items>(std::move(items)), 0));
}

}  // namespace kvwmi::com
