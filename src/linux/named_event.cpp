#include "kvwmi/named_event.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>

#include "frame/deadline.h"
#include "frame/runtime_error.h"
#include "linux/message_queue.h"
#include "linux/system_error.h"

namespace kvwmi {
namespace {

using ground::Descriptor;
using ground::event_message_size;
using ground::queue_name;
using ground::system_error;

constexpr std::chrono::milliseconds kLongestPoll{std::numeric_limits<int>::max()};

/// A queue outlives its users, an event must not: every holder keeps a shared lock on the queue. Who can have
/// it alone on opening has found what a killed process left behind; who can have it alone on closing is the
/// last and takes the name away.
bool lock_alone(int queue) {
  return ::flock(queue, LOCK_EX | LOCK_NB) == 0;
}

void lock_shared(int queue) {
  while (::flock(queue, LOCK_SH) != 0) {
    if (errno != EINTR) throw system_error(errno, "flock");
  }
}

bool has_name(int queue) {
  struct stat status {};
  return ::fstat(queue, &status) == 0 && status.st_nlink > 0;
}

long message_size(NamedEvent::Reset reset) {
  return reset == NamedEvent::Reset::automatic ? ground::kAutomaticMessageSize : ground::kManualMessageSize;
}

/// Why there is no queue, in words of its own where the system's would name something else.
Error open_failure(int error) {
  Error failure = system_error(error, "mq_open");
  // The same number says that this process has no descriptor left.
  if (error == EMFILE && Descriptor(::eventfd(0, EFD_CLOEXEC))) {
    return failure.with_description(
        "mq_open: this user's queues have all the memory that they may (ulimit -q)");
  }
  if (error == ENOSPC) {
    return failure.with_description(
        "mq_open: there are all the queues that the system allows (fs.mqueue.queues_max)");
  }
  return failure;
}

/// The event's queue, held; nullopt where its last holder let it go meanwhile, or a left one was in the way.
std::optional<Descriptor> try_open(const std::string& name, NamedEvent::Reset reset) {
  mq_attr attributes{};
  attributes.mq_maxmsg = 1;
  attributes.mq_msgsize = message_size(reset);
  Descriptor queue(::mq_open(name.c_str(), O_RDWR | O_CREAT | O_NONBLOCK, S_IRUSR | S_IWUSR, &attributes));
  if (!queue) throw open_failure(errno);
  const auto size = event_message_size(queue.get());
  if (!size) throw system_error(EBADF, "mq_open");  // somebody else's queue
  if (lock_alone(queue.get())) {
    if (*size != attributes.mq_msgsize) {
      ::mq_unlink(name.c_str());
      return std::nullopt;
    }
    ground::take_signal(queue.get());
  }
  lock_shared(queue.get());
  if (!has_name(queue.get())) return std::nullopt;
  return queue;
}

}  // namespace

NamedEvent::NamedEvent(const std::string& name, Reset reset) : reset_(reset) {
  const auto queue = queue_name(name);
  if (!queue) {
    throw system_error(ENAMETOOLONG, "mq_open")
        .with_description("No event can be named \"" + name + "\": the name is empty or has a backslash");
  }
  name_ = *queue;
  std::optional<Descriptor> opened;
  while (!opened) opened = try_open(name_, reset);
  reset_ =
      event_message_size(opened->get()) == ground::kAutomaticMessageSize ? Reset::automatic : Reset::manual;
  handle_ = opened->release();
}

NamedEvent::~NamedEvent() {
  const Descriptor queue(static_cast<int>(handle_));
  if (lock_alone(queue.get()) && has_name(queue.get())) ::mq_unlink(name_.c_str());
}

bool NamedEvent::wait(std::chrono::milliseconds timeout) {
  const auto deadline = deadline_after(timeout);
  const int queue = static_cast<int>(handle_);
  for (;;) {
    const auto left = left_until(deadline);
    pollfd event{queue, POLLIN, 0};
    const int ready = ::poll(&event, 1, static_cast<int>(std::min(left, kLongestPoll).count()));
    if (ready < 0 && errno != EINTR) throw system_error(errno, "poll");
    // With several waiters of an automatic event one takes the signal and the others go on waiting.
    if (ready > 0 && (reset_ == Reset::manual || ground::take_signal(queue))) return true;
    if (left.count() == 0) return false;
  }
}

// NOLINTNEXTLINE(readability-make-member-function-const): what it changes is the event
void NamedEvent::set() {
  if (!ground::set_event(static_cast<int>(handle_))) throw system_error(errno, "mq_send");
}

// NOLINTNEXTLINE(readability-make-member-function-const): the same
void NamedEvent::reset() {
  ground::take_signal(static_cast<int>(handle_));
}

}  // namespace kvwmi
