#include "linux/named_events.h"

#include <fcntl.h>

#include <cerrno>

#include "frame/diagnostics.h"
#include "linux/message_queue.h"
#include "linux/system_error.h"

namespace kvwmi::ground {

void LinuxNamedEvents::signal(const std::string& name) {
  const auto queue = queue_name(name);
  if (!queue) return;
  const Descriptor event(::mq_open(queue->c_str(), O_WRONLY | O_NONBLOCK));
  if (!event) {
    // The record waits, and the agent is not woken for it.
    if (errno != ENOENT) report(system_error(errno, "mq_open"));
    return;
  }
  if (event_message_size(event.get())) set_event(event.get());
}

}  // namespace kvwmi::ground
