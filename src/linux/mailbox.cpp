#include "linux/mailbox.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <utility>

#include "frame/diagnostics.h"
#include "linux/system_error.h"

namespace kvwmi::ground {

Mailbox::Mailbox() : wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!wake_) throw system_error(errno, "eventfd");
}

void Mailbox::post(Work work) {
  const std::scoped_lock lock(mutex_);
  if (closed_) return;
  const bool asleep = work_.empty();
  work_.push_back(std::move(work));
  if (asleep) ::eventfd_write(wake_.get(), 1);
}

void Mailbox::run() {
  std::vector<Work> work;
  {
    const std::scoped_lock lock(mutex_);
    eventfd_t count = 0;
    ::eventfd_read(wake_.get(), &count);
    work.swap(work_);
  }
  for (Work& piece : work) {
    try {
      piece();
    } catch (...) {
      report_pending_error();
    }
    piece = nullptr;
  }
}

void Mailbox::close() {
  std::vector<Work> abandoned;
  const std::scoped_lock lock(mutex_);
  closed_ = true;
  abandoned.swap(work_);
}

}  // namespace kvwmi::ground
