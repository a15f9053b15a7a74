#include "stand_in/sink.h"

#include <gtest/gtest.h>
#include <objbase.h>
#include <ocidl.h>
#include <olectl.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "frame/conversion.h"
#include "frame/wmi_status.h"
#include "kvwmi/message_loop.h"
#include "stand_in/class_objects.h"
#include "stand_in/named_value_set.h"
#include "stand_in/repository.h"
#include "windows/automation/implements.h"
#include "windows/text/bstr.h"

// The events of an SWbemSink as a client's connection receives them.
namespace kvwmi::stand_in {
namespace {

using windows::Bstr;

constexpr std::chrono::seconds kDeadline{20};
constexpr const char* kProcesses =
    "SELECT * FROM __InstanceCreationEvent WITHIN 0.1 WHERE TargetInstance ISA 'Win32_Process'";

/// Writes down every event: its number, its arguments but the last one, and the Id in the context.
class Receiver final : public com::Implements<IDispatch> {
 public:
  explicit Receiver(std::vector<std::string>& events) : events_(events) {}

  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return DISP_E_UNKNOWNNAME; }
  STDMETHODIMP Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    std::string line = std::to_string(event);
    for (UINT i = arguments->cArgs; i-- > 1;) line += " " + text_of(arguments->rgvarg[i]);
    for (const auto& [name, value] : entries_of(V_DISPATCH(&arguments->rgvarg[0]))) {
      line += " " + name + "=" + to_text(value);
    }
    events_.push_back(line);
    return S_OK;
  }

 private:
  static std::string text_of(const VARIANT& argument) {
    if (V_VT(&argument) == VT_I4) return std::to_string(V_I4(&argument));
    if (V_VT(&argument) != VT_DISPATCH) return "type " + std::to_string(V_VT(&argument));
    return V_DISPATCH(&argument) ? "object" : "nothing";
  }

  std::vector<std::string>& events_;
};

struct SinkEvents : testing::Test {
  SinkEvents() {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    machine = std::make_shared<Repository>();
    stand_in.emplace(machine);
    EXPECT_EQ(CoCreateInstance(__uuidof(SWbemSink), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(sink.put())),
              S_OK);
    EXPECT_EQ(
        sink.as<IConnectionPointContainer>()->FindConnectionPoint(__uuidof(ISWbemSinkEvents), point.put()),
        S_OK);
    EXPECT_EQ(point->Advise(own<IDispatch>(new Receiver(events)).get(), &connection), S_OK);
    ComPtr<ISWbemLocator> locator;
    EXPECT_EQ(
        CoCreateInstance(__uuidof(SWbemLocator), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(locator.put())),
        S_OK);
    const Bstr here(".");
    const Bstr name_space("root\\CIMV2");
    EXPECT_EQ(locator->ConnectServer(here.get(), name_space.get(), nullptr, nullptr, nullptr, nullptr, 0,
                                     nullptr, services.put()),
              S_OK);
  }

  HRESULT watch(const char* query, const char* id) {
    const auto context = make_named_value_set({{"Id", wmi::Value(id)}});
    const Bstr text(query);
    const Bstr language("WQL");
    return services->ExecNotificationQueryAsync(sink.get(), text.get(), language.get(), 0, nullptr,
                                                context.get());
  }
  void start_process(const char* id) { machine->add("Win32_Process", {{"Handle", id}, {"Name", "a.exe"}}); }
  /// All events, once there are so many.
  std::vector<std::string> wait_for(std::size_t count) {
    EXPECT_TRUE(message_loop::run_until([&] { return events.size() >= count; }, kDeadline));
    return events;
  }

  std::vector<std::string> events;
  std::shared_ptr<Repository> machine;
  std::optional<InProcessStandIn> stand_in;
  ComPtr<ISWbemSink> sink;
  ComPtr<IConnectionPoint> point;
  DWORD connection = 0;
  ComPtr<ISWbemServices> services;
};

using Events = std::vector<std::string>;

TEST_F(SinkEvents, AnObjectArrivesWithTheContextOfItsCall) {
  ASSERT_EQ(watch(kProcesses, "a"), S_OK);
  start_process("7");
  EXPECT_EQ(wait_for(1), (Events{"1 object Id=a"}));
}

TEST_F(SinkEvents, CancellingCompletesEveryCallWithItsContextAfterItsObjects) {
  ASSERT_EQ(watch(kProcesses, "a"), S_OK);
  ASSERT_EQ(
      watch("SELECT * FROM __InstanceDeletionEvent WITHIN 0.1 WHERE TargetInstance ISA 'Win32_Service'", "b"),
      S_OK);
  start_process("7");
  EXPECT_EQ(wait_for(1), (Events{"1 object Id=a"}));
  EXPECT_EQ(sink->Cancel(), S_OK);
  EXPECT_EQ(events.size(), 1U);  // nobody has run the message loop yet
  // wbemErrCallCancelled
  EXPECT_EQ(wait_for(3),
            (Events{"1 object Id=a", "2 -2147217358 nothing Id=a", "2 -2147217358 nothing Id=b"}));

  // Those calls are over, and the sink takes new ones.
  EXPECT_EQ(sink->Cancel(), S_OK);
  ASSERT_EQ(watch(kProcesses, "c"), S_OK);
  start_process("8");
  EXPECT_EQ(wait_for(4).back(), "1 object Id=c");
}

TEST_F(SinkEvents, ARefusedCallIsNoneAndIsNotCompleted) {
  EXPECT_EQ(watch("SELECT nonsense", "a"), static_cast<HRESULT>(wmi::Status::unparsable_query));
  ASSERT_EQ(watch(kProcesses, "b"), S_OK);
  EXPECT_EQ(sink->Cancel(), S_OK);
  EXPECT_EQ(wait_for(1), (Events{"2 -2147217358 nothing Id=b"}));
}

TEST_F(SinkEvents, WhoIsNoLongerConnectedHearsNothing) {
  Events of_other;
  DWORD other = 0;
  ASSERT_EQ(point->Advise(own<IDispatch>(new Receiver(of_other)).get(), &other), S_OK);
  ASSERT_EQ(watch(kProcesses, "a"), S_OK);
  EXPECT_EQ(point->Unadvise(connection), S_OK);
  EXPECT_EQ(point->Unadvise(connection), CONNECT_E_NOCONNECTION);
  start_process("7");
  EXPECT_TRUE(message_loop::run_until([&] { return of_other.size() == 1; }, kDeadline));
  EXPECT_EQ(sink->Cancel(), S_OK);
  EXPECT_TRUE(message_loop::run_until([&] { return of_other.size() == 2; }, kDeadline));
  EXPECT_EQ(of_other, (Events{"1 object Id=a", "2 -2147217358 nothing Id=a"}));
  EXPECT_EQ(events, Events{});
}

}  // namespace
}  // namespace kvwmi::stand_in
