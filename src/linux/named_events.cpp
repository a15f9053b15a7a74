#include "linux/named_events.h"

#include <fcntl.h>

#include "linux/message_queue.h"

namespace kvwmi::ground {

void LinuxNamedEvents::signal(const std::string& name) {
  const auto queue = queue_name(name);
  if (!queue) return;
  if (const Descriptor event(::mq_open(queue->c_str(), O_WRONLY | O_NONBLOCK)); event) set_event(event.get());
}

}  // namespace kvwmi::ground
