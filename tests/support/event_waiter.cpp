// Another process that waits for a named event, as an agent of its own does:
//   event_waiter NAME DESCRIPTOR
// It opens the event as an automatic one and then writes a moment of the steady clock to the descriptor, in
// nanoseconds and eight bytes: first when it has opened the event, then each time that it saw it set.
#include <kvwmi/named_event.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>

int main(int count, char** arguments) {
  if (count != 3) return 2;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  kvwmi::NamedEvent event(arguments[1], kvwmi::NamedEvent::Reset::automatic);
  const int out = std::atoi(arguments[2]);
  for (;;) {
    const std::int64_t now =
        std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
    if (write(out, &now, sizeof now) != sizeof now) return 1;
    while (!event.wait(std::chrono::minutes(1))) continue;
  }
}
