// Another process that waits for an agent's event, through nothing but the system:
//   event_waiter NAME
// Its exit status is 0 once the event is set, 1 where there is no such event, 2 where it is not set in time.

#include <windows.h>

int main(int count, char** arguments) {
  constexpr DWORD kPatience = 30'000;
  const HANDLE event = count == 2 ? OpenEventA(SYNCHRONIZE, FALSE, arguments[1]) : nullptr;
  if (!event) return 1;
  return WaitForSingleObject(event, kPatience) == WAIT_OBJECT_0 ? 0 : 2;
}
