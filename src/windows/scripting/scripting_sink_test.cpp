#include "windows/scripting/scripting_sink.h"

#include <gtest/gtest.h>

#include "windows/automation/implements.h"
#include "windows/automation/module.h"

namespace kvwmi::ground {
namespace {

/// Somebody who keeps the receiver of a sink's events longer than the sink, as a delivery on its way does.
ComPtr<IUnknown> kept_receiver;

class FakeSink final
    : public com::Implements<ISWbemSink, IConnectionPointContainer, IConnectionPoint, IClassFactory> {
 public:
  STDMETHODIMP CreateInstance(IUnknown*, REFIID id, void** object) override {
    return QueryInterface(id, object);
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

  STDMETHODIMP FindConnectionPoint(REFIID, IConnectionPoint** point) override {
    *point = ComPtr<IConnectionPoint>::share(this).detach();
    return S_OK;
  }
  STDMETHODIMP Advise(IUnknown* receiver, DWORD* cookie) override {
    kept_receiver = ComPtr<IUnknown>::share(receiver);
    *cookie = 1;
    return S_OK;
  }
  STDMETHODIMP Unadvise(DWORD) override { return S_OK; }

  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
  STDMETHODIMP GetConnectionInterface(IID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer**) override { return E_NOTIMPL; }
  STDMETHODIMP EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }
  STDMETHODIMP Cancel() override { return S_OK; }
  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }
};

TEST(ScriptingSink, TheModuleStaysWhileSomebodyHoldsTheReceiver) {
  ASSERT_GE(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  ASSERT_TRUE(com::module_is_idle());
  DWORD registration = 0;
  {
    const auto served = ComPtr<IClassFactory>::own(new FakeSink);
    ASSERT_EQ(CoRegisterClassObject(__uuidof(SWbemSink), served.get(), CLSCTX_INPROC_SERVER,
                                    REGCLS_MULTIPLEUSE, &registration),
              S_OK);
  }
  {
    const ScriptingSink sink([](wmi::Object&, const wmi::NamedValues&) {});
  }
  ASSERT_EQ(CoRevokeClassObject(registration), S_OK);
  ASSERT_TRUE(kept_receiver);
  EXPECT_FALSE(com::module_is_idle());
  kept_receiver.reset();
  EXPECT_TRUE(com::module_is_idle());
  CoUninitialize();
}

}  // namespace
}  // namespace kvwmi::ground
