#include "base/EventLoop.h"

#include <utility>

namespace murvelo {

void EventLoop::post(Job job) {
  {
    std::lock_guard lock(mutex_);
    ready_.push_back(std::move(job));
  }
  wake_.notify_one();
}

MainLoop::TimerId EventLoop::postAfter(Duration delay, Job job) {
  TimerId id;
  {
    std::lock_guard lock(mutex_);
    id = timers_.add(Clock::now() + delay, std::move(job));
  }
  wake_.notify_one();
  return id;
}

void EventLoop::cancel(TimerId id) {
  std::lock_guard lock(mutex_);
  timers_.cancel(id);
}

void EventLoop::quit() {
  {
    std::lock_guard lock(mutex_);
    quitting_ = true;
  }
  wake_.notify_one();
}

void EventLoop::run() {
  std::unique_lock lock(mutex_);
  quitting_ = false;
  while (!quitting_) {
    Job job;
    if (!ready_.empty()) {
      job = std::move(ready_.front());
      ready_.pop_front();
    } else if (auto due = timers_.popDue(Clock::now())) {
      job = std::move(*due);
    } else if (auto next = timers_.nextDue()) {
      wake_.wait_until(lock, *next);
      continue;
    } else {
      wake_.wait(lock);
      continue;
    }
    lock.unlock();
    job();
    lock.lock();
  }
}

}  // namespace murvelo
