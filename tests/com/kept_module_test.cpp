// An engine that is not released keeps the library in its process. The one that this test leaves behind stays
// for the life of the process, which is why the test has a program of its own.

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "kvwmi/message_loop.h"
#include "kvwmi/named_event.h"
#include "server.h"
#include "stand_in/class_objects.h"
#include "stand_in/repository.h"
#include "supervision_client.h"

namespace {

using kvwmi::NamedEvent;
using kvwmi::stand_in::InProcessStandIn;
using kvwmi::stand_in::Repository;
using std::chrono::milliseconds;

constexpr std::chrono::seconds kDeadline{30};

TEST(KeptModule, AnEngineThatIsNotReleasedKeepsTheModuleAndGoesOnWatching) {
  const server::Apartment apartment;
  const server::RegistrationFree registration_free;
  const server::LoadedLibrary library;
  const auto machine = std::make_shared<Repository>();
  const InProcessStandIn stand_in(machine);
  const std::string name = "kvwmi kept " + std::to_string(GetCurrentProcessId());
  NamedEvent event(name, NamedEvent::Reset::automatic);

  auto client = make_early_bound_supervision();
  ASSERT_EQ(client->initialize().status, S_OK);
  EXPECT_EQ(library.can_unload_now(), S_FALSE);
  ASSERT_EQ(client->release().status, S_OK);
  client.reset();
  EXPECT_EQ(library.can_unload_now(), S_OK);

  client = make_early_bound_supervision();
  client->name_event(name);
  ASSERT_EQ(client->initialize().status, S_OK);
  ASSERT_EQ(client->request(REQUEST(m_SuperviseProcess, 7, 3, "a.exe", true, false, 1, 0, 0, false)).status,
            S_OK);
  client.reset();
  EXPECT_EQ(library.can_unload_now(), S_FALSE);
  machine->add("Win32_Process", {{"Handle", "7"}, {"Name", "a.exe"}});
  EXPECT_TRUE(kvwmi::message_loop::run_until([&] { return event.wait(milliseconds(0)); }, kDeadline));
}

}  // namespace
