// Watches this machine with KVWMI: tells when processes of a name start and end, until one has ended.
//   watch NAME
// Built on the installed library:
//   g++ -std=c++20 watch.cpp -o watch $(pkg-config --cflags --libs kvwmi)

#include <kvwmi/error.h>
#include <kvwmi/message_loop.h>
#include <kvwmi/named_event.h>
#include <kvwmi/supervision.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

namespace {

// An agent numbers its steps and the watches of each; a record comes back under the same two numbers.
constexpr std::int32_t kStep = 1;
constexpr std::int32_t kStart = 1;
constexpr std::int32_t kEnd = 2;
constexpr std::int32_t kEverySecond = 1;

void watch(const std::string& name) {
  // The agent makes the event; the engine sets it whenever it has queued a record.
  const std::string event_name = "watch-" + std::to_string(getpid());
  kvwmi::NamedEvent event(event_name, kvwmi::NamedEvent::Reset::automatic);

  kvwmi::Supervision supervision;
  supervision.p_strSupervisionEventName(event_name);
  supervision.m_Initialize();
  supervision.m_SuperviseProcess(kStep, kStart, name, true, false, kEverySecond);
  supervision.m_SuperviseProcess(kStep, kEnd, name, false, true, kEverySecond);
  std::printf("Watching %s\n", name.c_str());

  bool ended = false;
  while (!ended) {
    // Records are delivered by the thread's message loop, so the thread waits in there.
    kvwmi::message_loop::run_until([&] { return event.wait(std::chrono::milliseconds(0)); },
                                   std::chrono::hours(1));
    std::int32_t watch = 0;
    std::string detail;
    for (supervision.m_PopEventInfos(kStep, watch, detail); watch != 0;
         supervision.m_PopEventInfos(kStep, watch, detail)) {
      std::printf("%s has %s\n", name.c_str(), watch == kStart ? "started" : "ended");
      ended = ended || watch == kEnd;
    }
  }
  supervision.m_Release();  // without it the engine goes on watching
}

}  // namespace

int main(int count, char** arguments) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  try {
    watch(count > 1 ? arguments[1] : "sleep");
    return 0;
  } catch (const kvwmi::Error& error) {
    // Each line of the source names a routine that the failure came through.
    std::fprintf(stderr, "Error 0x%08X: %s\n%s\n", static_cast<unsigned>(error.number()), error.what(),
                 error.source().c_str());
    return 1;
  }
}
