// What a probe costs through the server, early and late bound, against the same query made directly on the
// scripting objects, in one run. Ends with 1 where it costs more than it may.

#include <windows.h>

#include <wbemdisp.h>

#include <string>

#include "automation.h"
#include "measure.h"
#include "server.h"
#include "windows/com/kvwmi.h"

namespace {

using automation::Bstr;
using automation::ComPtr;
using automation::Variant;
using kvwmi::bench::require;

ComPtr<ISWbemServices> connect() {
  ComPtr<ISWbemLocator> locator;
  ComPtr<ISWbemServices> services;
  require(SUCCEEDED(CoCreateInstance(__uuidof(SWbemLocator), nullptr, CLSCTX_INPROC_SERVER,
                                     IID_PPV_ARGS(locator.put()))),
          "locator");
  require(SUCCEEDED(locator->ConnectServer(Bstr(".").get(), Bstr("root\\CIMV2").get(), Bstr("").get(),
                                           Bstr("").get(), Bstr("").get(), Bstr("").get(), 0, nullptr,
                                           services.put())),
          "services");
  return services;
}

/// What the probe asks WMI for: the first object's size, found through an early-bound client's calls.
void direct(ISWbemServices& services) {
  ComPtr<ISWbemObjectSet> set;
  require(SUCCEEDED(services.ExecQuery(Bstr("SELECT * FROM Win32_OperatingSystem").get(), Bstr("WQL").get(),
                                       wbemFlagReturnImmediately, nullptr, set.put())),
          "query");
  ComPtr<IUnknown> enumerator;
  require(SUCCEEDED(set->get__NewEnum(enumerator.put())), "enumerator");
  const auto objects = enumerator.as<IEnumVARIANT>();
  Variant first;
  require(objects->Next(1, first.receive(), nullptr) == S_OK, "object");
  ComPtr<ISWbemObject> object = ComPtr<ISWbemObject>::query<ISWbemObject>(V_UNKNOWN(&first.raw()));
  ComPtr<ISWbemPropertySet> properties;
  require(SUCCEEDED(object->get_Properties_(properties.put())), "properties");
  ComPtr<ISWbemProperty> property;
  require(SUCCEEDED(properties->Item(Bstr("TotalVisibleMemorySize").get(), 0, property.put())), "property");
  Variant size;
  require(SUCCEEDED(property->get_Value(size.receive())), "value");
  require(size.type() == VT_BSTR && SysStringLen(V_BSTR(&size.raw())) > 4, "size");
}

void early(_CheckPoint& check) {
  CY size{};
  LONG result = -1;
  require(check.m_GetPhysicalMemorySize(&size, &result) == S_OK, "early-bound call");
  require(size.int64 > 0 && result == 0, "early-bound answer");
}

void late(IDispatch& check) {
  Variant size;
  const automation::Answer answer =
      automation::call(check, L"m_GetPhysicalMemorySize", {automation::variable(size)});
  require(answer.status == S_OK && answer.result.text() == "long 0" && size.type() == VT_CY,
          "late-bound answer");
}

}  // namespace

int main() {
  constexpr int kRounds = 40;
  constexpr int kCalls = 10;
  server::Apartment apartment;
  server::RegistrationFree registration_free;
  const auto services = connect();
  ComPtr<_CheckPoint> check;
  require(SUCCEEDED(CoCreateInstance(__uuidof(CheckPoint), nullptr, CLSCTX_INPROC_SERVER,
                                     IID_PPV_ARGS(check.put()))),
          "CheckPoint");
  const auto dispatch = check.as<IDispatch>();

  double floor = 1e9;
  double early_bound = 1e9;
  double late_bound = 1e9;
  const auto fastest = [](double& best, auto run) {
    best = std::min(best, kvwmi::bench::best_seconds(1, [&] {
                      for (int i = 0; i < kCalls; ++i) run();
                    }));
  };
  // In turns, so that a busy moment of the machine is nobody's alone.
  for (int round = 0; round < kRounds; ++round) {
    fastest(floor, [&] { direct(*services.get()); });
    fastest(early_bound, [&] { early(*check.get()); });
    fastest(late_bound, [&] { late(*dispatch.get()); });
  }

  kvwmi::bench::Claims claims;
  claims.note("the query made directly, in microseconds", floor / kCalls * 1e6);
  claims.at_most("m_GetPhysicalMemorySize early bound, against it", early_bound / floor, 1.10);
  claims.at_most("m_GetPhysicalMemorySize late bound, against it", late_bound / floor, 1.25);
  return claims.exit_code();
}
