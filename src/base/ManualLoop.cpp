#include "base/ManualLoop.h"

#include <utility>

namespace murvelo {

// Starts at an arbitrary, fixed point so tests do not depend on the real clock.
ManualLoop::ManualLoop() : now_(TimePoint(std::chrono::hours(1000))) {}

void ManualLoop::post(Job job) {
  std::lock_guard lock(mutex_);
  ready_.push_back(std::move(job));
}

MainLoop::TimerId ManualLoop::postAfter(Duration delay, Job job) {
  std::lock_guard lock(mutex_);
  if (delay < Duration::zero()) delay = Duration::zero();
  return timers_.add(now_ + delay, std::move(job));
}

void ManualLoop::cancel(TimerId id) {
  std::lock_guard lock(mutex_);
  timers_.cancel(id);
}

MainLoop::TimePoint ManualLoop::now() const {
  std::lock_guard lock(mutex_);
  return now_;
}

bool ManualLoop::runOne() {
  Job job;
  {
    std::lock_guard lock(mutex_);
    if (!ready_.empty()) {
      job = std::move(ready_.front());
      ready_.pop_front();
    } else if (auto due = timers_.popDue(now_)) {
      job = std::move(*due);
    } else {
      return false;
    }
  }
  job();  // outside the lock: jobs post and cancel
  return true;
}

std::size_t ManualLoop::runUntilIdle() {
  std::size_t count = 0;
  while (runOne()) ++count;
  return count;
}

std::size_t ManualLoop::advance(Duration delay) {
  TimePoint target;
  {
    std::lock_guard lock(mutex_);
    target = now_ + delay;
  }
  std::size_t count = runUntilIdle();
  for (;;) {
    {
      std::lock_guard lock(mutex_);
      auto next = timers_.nextDue();
      if (!next || *next > target) {
        now_ = target;
        break;
      }
      if (*next > now_) now_ = *next;
    }
    count += runUntilIdle();
  }
  return count + runUntilIdle();
}

bool ManualLoop::advanceToNextTimer() {
  {
    std::lock_guard lock(mutex_);
    auto next = timers_.nextDue();
    if (!next) return false;
    if (*next > now_) now_ = *next;
  }
  runUntilIdle();
  return true;
}

bool ManualLoop::hasPendingTimers() const {
  std::lock_guard lock(mutex_);
  return !timers_.empty();
}

}  // namespace murvelo
