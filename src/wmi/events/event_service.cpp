#include "wmi/events/event_service.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace kvwmi::embedded {
namespace {

constexpr TimePoint kNever = TimePoint::max();

TimePoint steady_now() {
  return std::chrono::steady_clock::now();
}

/// 100 ns since 1601, UTC.
std::uint64_t wall_now() {
  constexpr std::uint64_t kFrom1601To1970 = 116'444'736'000'000'000;
  using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
  const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
  return kFrom1601To1970 + static_cast<std::uint64_t>(std::chrono::duration_cast<Ticks>(since_1970).count());
}

EventService::Options completed(EventService::Options options) {
  if (!options.settings.wall_time) options.settings.wall_time = &wall_now;
  if (!options.begin_thread) {
    options.begin_thread = [](std::function<void()> work) { return std::thread(std::move(work)); };
  }
  return options;
}

}  // namespace

/// The threads. One has the turn and polls; another watches it and takes the turn when it is held up. Who was
/// held up leaves when it returns, unless it is needed to make up the two again.
class EventService::Crew {
 public:
  explicit Crew(const Options& options) : options_(options) {}

  void start(std::shared_ptr<EventEngine> engine) {
    const std::scoped_lock lock(mutex_);
    if (!engine_) engine_ = std::move(engine);
    staff();
  }

  void wake() {
    const std::scoped_lock lock(mutex_);
    woken_ = true;
    to_poll_.notify_all();
  }

  void stop() {
    std::vector<std::thread> threads;
    {
      const std::scoped_lock lock(mutex_);
      stopping_ = true;
      threads.swap(threads_);
      to_poll_.notify_all();
      to_watch_.notify_all();
    }
    for (std::thread& thread : threads) thread.join();
  }

  [[nodiscard]] std::size_t threads() {
    const std::scoped_lock lock(mutex_);
    return working_;
  }

 private:
  using Lock = std::unique_lock<std::mutex>;

  /// Who polls and who watches.
  static constexpr std::size_t kNeeded = 2;

  /// Those that are not held up. With the lock held, as the next two.
  [[nodiscard]] std::size_t free() const { return working_ - held_; }

  /// Makes up for who is held up, as far as there are threads to be had; what is missing is tried for again
  /// at the next step. Raises where nobody works at all.
  void staff() {
    while (!stopping_ && free() < kNeeded && working_ < options_.most_threads) {
      try {
        hire();
      } catch (const std::exception&) {
        if (working_ == 0) throw;
        return;
      }
    }
  }

  void hire() {
    // Those that were held up and have left since are still to be joined.
    for (const std::thread::id& id : std::exchange(left_, {})) {
      const auto done = std::find_if(threads_.begin(), threads_.end(),
                                     [&](const std::thread& thread) { return thread.get_id() == id; });
      done->join();
      threads_.erase(done);
    }
    left_.reserve(threads_.size() + 1);  // a thread that leaves has nobody to raise to
    threads_.reserve(threads_.size() + 1);
    threads_.push_back(options_.begin_thread([this] { work(); }));
    ++working_;
  }

  void work() {
    Lock lock(mutex_);
    while (!stopping_) {
      if (has_turn_) {
        watch(lock);
        continue;
      }
      has_turn_ = true;
      const std::uint64_t turn = ++turn_;
      poll(lock, turn);
      if (turn_ == turn) {
        has_turn_ = false;
        continue;
      }
      --held_;  // the turn was taken away meanwhile
      if (free() > kNeeded) break;
    }
    --working_;
    if (!stopping_) left_.push_back(std::this_thread::get_id());
  }

  /// Polls what is due until the turn is over.
  void poll(Lock& lock, std::uint64_t turn) {
    while (!stopping_ && turn_ == turn) {
      staff();
      busy_ = true;
      woken_ = false;
      finish_by(steady_now() + options_.patience);
      lock.unlock();
      bool worked = false;
      try {
        worked = engine_->run_one(steady_now());
      } catch (const std::exception&) {
        options_.settings.report_current();
      }
      const auto due = engine_->due();
      lock.lock();
      if (turn_ != turn) return;
      busy_ = false;
      if (worked || woken_ || stopping_) continue;
      if (due) {
        finish_by(*due + options_.patience);
        to_poll_.wait_until(lock, *due, [&] { return woken_ || stopping_; });
      } else {
        finish_by(kNever);
        to_poll_.wait(lock, [&] { return woken_ || stopping_; });
      }
    }
  }

  /// Says until when the step at hand, or the next one, may take. Who watches sleeps till then.
  void finish_by(TimePoint limit) {
    if (limit < std::exchange(limit_, limit)) to_watch_.notify_all();
  }

  /// Takes the turn away from a thread that has been at the same step for too long.
  void watch(Lock& lock) {
    const TimePoint seen = limit_;
    const auto news = [&] { return stopping_ || !has_turn_ || limit_ < seen; };
    if (seen == kNever) {
      to_watch_.wait(lock, news);
      return;
    }
    // A thread that is not even at work by then has to wait for a processor.
    const TimePoint until = busy_ ? seen : std::max(seen, steady_now() + options_.patience);
    if (to_watch_.wait_until(lock, until, news) || !busy_ || limit_ != seen) return;
    has_turn_ = false;
    busy_ = false;
    ++turn_;
    ++held_;
  }

  const Options& options_;
  std::mutex mutex_;
  std::condition_variable to_poll_, to_watch_;
  std::shared_ptr<EventEngine> engine_;
  std::vector<std::thread> threads_;
  std::vector<std::thread::id> left_;
  std::size_t working_ = 0;
  std::size_t held_ = 0;  ///< of those, by a step that has lost its turn
  bool stopping_ = false;
  bool woken_ = false;
  bool has_turn_ = false;
  bool busy_ = false;
  std::uint64_t turn_ = 0;
  TimePoint limit_ = kNever;  ///< for the step at hand, or the next one
};

EventService::EventService() : EventService(Options()) {}

EventService::EventService(Options options) : options_(completed(std::move(options))) {
  crew_ = std::make_shared<Crew>(options_);
  engine_ = std::make_shared<EventEngine>(std::make_shared<const EventSettings>(options_.settings),
                                          [crew = std::weak_ptr<Crew>(crew_)] {
                                            if (const auto there = crew.lock()) there->wake();
                                          });
}

EventService::~EventService() {
  crew_->stop();
}

void EventService::subscribe(const NotificationRequest& request) {
  engine_->subscribe(request, [this](Admission& admission) {
    crew_->start(engine_);
    admission.wait_until(steady_now() + options_.admission);
  });
}

std::size_t EventService::threads() {
  return crew_->threads();
}

}  // namespace kvwmi::embedded
