// The server as a module: its classes, its lifetime, its manners.

#include <gtest/gtest.h>
#include <windows.h>

#include <oleauto.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "automation.h"
#include "frame/class_catalogue.h"
#include "server.h"
#include "windows/com/guid.h"
#include "windows/com/kvwmi.h"

namespace {

namespace catalogue = kvwmi::catalogue;
using automation::Answer;
using automation::Bstr;
using automation::ComPtr;
using automation::Variant;
using kvwmi::com::to_guid;

/// The names of the classes that the library hands out factories for.
std::vector<std::string> available_classes(const server::LoadedLibrary& library) {
  std::vector<std::string> result;
  for (const catalogue::Class& type : catalogue::kTypeLibrary.classes) {
    ComPtr<IClassFactory> factory;
    const HRESULT status = library.class_object(to_guid(type.class_id), IID_PPV_ARGS(factory.put()));
    if (SUCCEEDED(status)) result.emplace_back(type.name);
    EXPECT_EQ(status, factory ? S_OK : CLASS_E_CLASSNOTAVAILABLE) << type.name;
  }
  return result;
}

ComPtr<IDispatch> create(std::string_view class_name) {
  ComPtr<IDispatch> result;
  const GUID id = to_guid(catalogue::find_class(class_name)->class_id);
  EXPECT_EQ(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(result.put())), S_OK)
      << class_name;
  return result;
}

class Server : public testing::Test {
 protected:
  server::Apartment apartment_;
};

TEST_F(Server, HandsOutFactoriesOfItsClassesOnly) {
  server::LoadedLibrary library;
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(library.class_object(IID_IDispatch, IID_PPV_ARGS(factory.put())), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(factory.get(), nullptr);
  EXPECT_FALSE(available_classes(library).empty());
  EXPECT_EQ(available_classes(library).front(), "CheckPoint");
  void* wrong = &library;
  EXPECT_EQ(library.class_object(__uuidof(CheckPoint), IID_IDispatch, &wrong), E_NOINTERFACE);
  EXPECT_EQ(wrong, nullptr);
  EXPECT_EQ(library.class_object(__uuidof(CheckPoint), IID_IClassFactory, nullptr), E_POINTER);
}

TEST_F(Server, TheManifestOffersTheClassesThatThereAre) {
  std::ifstream file("KVWMI.manifest", std::ios::binary);
  const std::string manifest(std::istreambuf_iterator<char>(file), {});
  std::vector<std::string> offered;
  for (const catalogue::Class& type : catalogue::kTypeLibrary.classes) {
    const bool is_offered =
        manifest.find("<comClass clsid=\"" + std::string(type.class_id)) != std::string::npos;
    if (is_offered) offered.emplace_back(type.name);
  }
  EXPECT_EQ(offered, available_classes(server::LoadedLibrary()));
}

TEST_F(Server, AFactoryRefusesAggregationAndUnknownInterfaces) {
  server::LoadedLibrary library;
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(library.class_object(__uuidof(CheckPoint), IID_PPV_ARGS(factory.put())), S_OK);
  void* object = &library;
  EXPECT_EQ(factory->CreateInstance(factory.get(), IID_IUnknown, &object), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IClassFactory, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(Server, StaysLoadedWhileSomethingOfItLives) {
  server::LoadedLibrary library;
  EXPECT_EQ(library.can_unload_now(), S_OK);
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(library.class_object(__uuidof(CheckPoint), IID_PPV_ARGS(factory.put())), S_OK);
  EXPECT_EQ(library.can_unload_now(), S_FALSE);
  ComPtr<IUnknown> object;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_PPV_ARGS(object.put())), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  factory.reset();
  EXPECT_EQ(library.can_unload_now(), S_FALSE);
  object.reset();
  EXPECT_EQ(library.can_unload_now(), S_OK);
  ASSERT_EQ(library.class_object(__uuidof(CheckPoint), IID_PPV_ARGS(factory.put())), S_OK);
  factory->LockServer(TRUE);
  factory.reset();
  EXPECT_EQ(library.can_unload_now(), S_FALSE);
  ASSERT_EQ(library.class_object(__uuidof(CheckPoint), IID_PPV_ARGS(factory.put())), S_OK);
  factory->LockServer(FALSE);
  factory.reset();
  EXPECT_EQ(library.can_unload_now(), S_OK);
}

/// What is allocated in every heap of the process; the C++ library has one of its own.
SIZE_T private_bytes() {
  std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
  heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
  SIZE_T total = 0;
  for (const HANDLE heap : heaps) {
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(heap);
    while (HeapWalk(heap, &entry)) {
      if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) total += entry.cbData;
    }
    HeapUnlock(heap);
  }
  return total;
}

TEST(PrivateBytes, SeeWhatTheCppLibraryAllocates) {
  constexpr std::size_t kSize = 20'000;
  const SIZE_T before = private_bytes();
  const auto one = std::make_unique<char[]>(kSize);
  std::vector<std::unique_ptr<char[]>> many(100);
  for (auto& small : many) small = std::make_unique<char[]>(kSize / 100);
  EXPECT_GE(private_bytes(), before + 2 * kSize);
}

/// One object made, asked for a cheap member early and late bound, and let go.
void cycle(IClassFactory& factory) {
  ComPtr<_CheckPoint> object;
  ASSERT_EQ(factory.CreateInstance(nullptr, IID_PPV_ARGS(object.put())), S_OK);
  // A call that fails takes the longest way: the core, an exception, error information.
  LONG result = 0;
  VARIANT_BOOL exists = VARIANT_FALSE;
  ASSERT_EQ(object->m_GetServiceExistence(Bstr("it's").get(), &exists, &result), HRESULT(0x80040211));
  Variant name = Variant::of("it's");
  Variant flag;
  const Answer answer = automation::call(*object.get(), L"m_GetServiceExistence",
                                         {automation::variable(name), automation::variable(flag)});
  ASSERT_EQ(answer.status, DISP_E_EXCEPTION);
  ASSERT_EQ(flag.text(), "boolean 0");
}

TEST_F(Server, TenThousandObjectsLeaveNothingBehind) {
  server::LoadedLibrary library;
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(library.class_object(__uuidof(CheckPoint), IID_PPV_ARGS(factory.put())), S_OK);
  for (int i = 0; i < 100; ++i) ASSERT_NO_FATAL_FAILURE(cycle(*factory.get()));
  const SIZE_T before = private_bytes();
  for (int i = 0; i < 10'000; ++i) ASSERT_NO_FATAL_FAILURE(cycle(*factory.get()));
  const SIZE_T after = private_bytes();
  // One byte for each cycle would be seen.
  EXPECT_LT(after, before + 10'000);
  factory.reset();
  EXPECT_EQ(library.can_unload_now(), S_OK);
}

/// The thread ends after the library that it used is gone: nothing of the library may be left in the thread.
TEST(ServerModule, IsUnloadedAndItsThreadsEndCleanly) {
  for (int round = 0; round < 3; ++round) {
    bool finished = false;
    std::thread([&] {
      {
        server::Apartment apartment;
        server::LoadedLibrary library;
        {
          ComPtr<IClassFactory> factory;
          ASSERT_EQ(library.class_object(__uuidof(CheckPoint), IID_PPV_ARGS(factory.put())), S_OK);
          ASSERT_NO_FATAL_FAILURE(cycle(*factory.get()));
        }
        ASSERT_EQ(library.can_unload_now(), S_OK);
        library.free();
        EXPECT_EQ(GetModuleHandleW(L"KVWMI.dll"), nullptr);
      }
      finished = true;
    }).join();
    EXPECT_TRUE(finished);
  }
}

TEST_F(Server, ObjectsTellTheirTypeAndClass) {
  server::RegistrationFree registration_free;
  server::LoadedLibrary library;
  for (const std::string& name : available_classes(library)) {
    const catalogue::Class& type = *catalogue::find_class(name);
    const auto object = create(name);
    UINT count = 0;
    EXPECT_EQ(object->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1U);
    ComPtr<ITypeInfo> info;
    ASSERT_EQ(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put()), S_OK);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, to_guid(type.interface_id));
    EXPECT_EQ(attributes->typekind, TKIND_DISPATCH);
    info->ReleaseTypeAttr(attributes);
    EXPECT_EQ(object->GetTypeInfo(1, LOCALE_USER_DEFAULT, info.put()), DISP_E_BADINDEX);
    EXPECT_EQ(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, nullptr), E_POINTER);
    EXPECT_EQ(object->GetTypeInfoCount(nullptr), E_POINTER);

    const auto provider = object.as<IProvideClassInfo>();
    ASSERT_TRUE(provider);
    ASSERT_EQ(provider->GetClassInfo(info.put()), S_OK);
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, to_guid(type.class_id));
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    info->ReleaseTypeAttr(attributes);

    const auto errors = object.as<ISupportErrorInfo>();
    ASSERT_TRUE(errors);
    EXPECT_EQ(errors->InterfaceSupportsErrorInfo(to_guid(type.interface_id)), S_OK);
    EXPECT_EQ(errors->InterfaceSupportsErrorInfo(IID_IUnknown), S_FALSE);
  }
}

TEST_F(Server, NamesOfMembersAndParametersAreThoseOfTheCatalogueInAnyCase) {
  server::RegistrationFree registration_free;
  server::LoadedLibrary library;
  for (const std::string& name : available_classes(library)) {
    const auto object = create(name);
    for (const catalogue::Member& member : catalogue::find_class(name)->members) {
      std::vector<std::wstring> texts{kvwmi::windows::to_utf16(member.name)};
      for (const auto& parameter : member.parameters)
        texts.push_back(kvwmi::windows::to_utf16(parameter.name));
      if (member.kind != catalogue::MemberKind::method) texts.resize(1);
      for (const bool upper : {false, true}) {
        std::vector<LPOLESTR> names;
        for (std::wstring& text : texts) {
          if (upper) CharUpperW(text.data());
          names.push_back(text.data());
        }
        std::vector<DISPID> ids(names.size());
        ASSERT_EQ(object->GetIDsOfNames(IID_NULL, names.data(), static_cast<UINT>(names.size()),
                                        LOCALE_USER_DEFAULT, ids.data()),
                  S_OK)
            << member.name;
        EXPECT_EQ(static_cast<std::uint32_t>(ids[0]), member.dispatch_id);
        for (std::size_t i = 1; i < ids.size(); ++i) EXPECT_EQ(ids[i], static_cast<DISPID>(i - 1));
      }
    }
    LPOLESTR unknown = const_cast<LPOLESTR>(L"m_Unknown");
    DISPID id = 0;
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, &unknown, 1, LOCALE_USER_DEFAULT, &id), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(id, DISPID_UNKNOWN);
  }
}

TEST_F(Server, ACallWithoutAPlaceForAnOutputSaysNothingOfAnEarlierFailure) {
  server::RegistrationFree registration_free;
  const auto check = create("CheckPoint").as<_CheckPoint>();
  const auto infos = create("SupervisionInfos").as<_SupervisionInfos>();
  LONG number = 0;
  VARIANT_BOOL exists = VARIANT_FALSE;
  const std::vector<std::function<HRESULT()>> calls{
      [&] { return check->m_GetPowerSource(nullptr, &number); },
      [&] { return check->m_GetPowerSource(&number, nullptr); },
      [&] { return infos->get_p_strDetail(nullptr); },
  };
  for (const auto& call : calls) {
    ASSERT_EQ(check->m_GetServiceExistence(Bstr("it's").get(), &exists, &number),
              static_cast<HRESULT>(0x80040211));
    EXPECT_EQ(call(), E_POINTER);
    EXPECT_FALSE(server::take_error_text().found);
  }
}

// --- Other apartments ---

TEST(ServerApartments, AClientInAnotherApartmentReachesAnObjectThroughAProxy) {
  server::Apartment apartment;
  server::FoundClasses found_classes;
  const auto object = create("CheckPoint");
  ComPtr<IStream> stream;
  ASSERT_EQ(CoMarshalInterThreadInterfaceInStream(__uuidof(_CheckPoint), object.get(), stream.put()), S_OK);
  const HANDLE done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::thread client([&] {
    {
      server::Apartment multithreaded(COINIT_MULTITHREADED);
      server::FoundClasses also_here;
      ComPtr<_CheckPoint> proxy;
      EXPECT_EQ(CoGetInterfaceAndReleaseStream(stream.detach(), IID_PPV_ARGS(proxy.put())), S_OK);
      if (proxy) {
        EXPECT_NE(static_cast<IDispatch*>(proxy.get()), object.get());
        VARIANT_BOOL exists = VARIANT_TRUE;
        LONG result = -1;
        EXPECT_EQ(proxy->m_GetServiceExistence(Bstr("Some service").get(), &exists, &result), S_OK);
        EXPECT_EQ(exists, VARIANT_FALSE);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(proxy->m_GetServiceExistence(Bstr("it's").get(), &exists, &result),
                  static_cast<HRESULT>(0x80040211));
      }
    }
    SetEvent(done);
  });
  // Calls from the other apartment arrive as messages.
  const ULONGLONG deadline = GetTickCount64() + 20'000;
  while (GetTickCount64() < deadline &&
         MsgWaitForMultipleObjects(1, &done, FALSE, 1'000, QS_ALLINPUT) != WAIT_OBJECT_0) {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
  }
  EXPECT_EQ(WaitForSingleObject(done, 0), DWORD{WAIT_OBJECT_0});
  client.join();
  CloseHandle(done);
}

}  // namespace
