// Runs a program while somebody holds up the end of the system's run: the user nobody, for nobody waits for a
// lock of its own. Only to be run inside a systemd of its own (in_systemd).
//
//   held PROGRAM [ARGUMENT...]
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

/// Who is not root needs the word of an authority for a lock; this one grants everything.
int grant(sd_bus_message* message, void*, sd_bus_error*) {
  if (sd_bus_message_is_method_call(message, "org.freedesktop.PolicyKit1.Authority", "CheckAuthorization") <=
      0) {
    return 0;
  }
  return sd_bus_reply_method_return(message, "(bba{ss})", 1, 0, 0);
}

[[noreturn]] void be_the_authority(int ready) {
  sd_bus* bus = nullptr;
  if (sd_bus_open_system(&bus) < 0 || sd_bus_add_filter(bus, nullptr, grant, nullptr) < 0 ||
      sd_bus_request_name(bus, "org.freedesktop.PolicyKit1", 0) < 0 || write(ready, "", 1) != 1) {
    std::fputs("held: no authority\n", stderr);
    _exit(1);
  }
  close(ready);
  while (sd_bus_process(bus, nullptr) > 0 || sd_bus_wait(bus, UINT64_MAX) >= 0) {
  }
  _exit(0);
}

[[noreturn]] void hold(int ready) {
  dup2(ready, STDOUT_FILENO);
  // What it runs begins when it has the lock.
  execlp("setpriv", "setpriv", "--reuid=nobody", "--clear-groups", "systemd-inhibit", "--what=shutdown",
         "--mode=block", "sh", "-c", "echo; exec sleep infinity >&2", nullptr);
  _exit(1);
}

/// Runs `steps` in a process of its own until it writes to what it is given; false where it ends before.
bool in_background(void (*steps)(int ready)) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  if (fork() == 0) {
    close(ends[0]);
    steps(ends[1]);
  }
  close(ends[1]);
  char byte = 0;
  const bool ready = read(ends[0], &byte, 1) == 1;
  close(ends[0]);
  return ready;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2 || access("/run/systemd/system/inside.target", F_OK) != 0) {
    std::fputs("held: needs a program, and to be inside\n", stderr);
    return 2;
  }
  std::ofstream("/etc/dbus-1/system.d/held.conf")
      << "<busconfig><policy user=\"root\"><allow own=\"org.freedesktop.PolicyKit1\"/></policy>"
         "<policy context=\"default\"><allow "
         "send_destination=\"org.freedesktop.PolicyKit1\"/></policy></busconfig>";
  if (std::system("busctl --quiet call org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus "
                  "ReloadConfig") != 0) {
    return 1;
  }
  if (!in_background(be_the_authority) || !in_background(hold)) return 1;
  execv(arguments[1], arguments + 1);
  std::perror(arguments[1]);
  return 1;
}
