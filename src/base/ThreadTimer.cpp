#include "base/ThreadTimer.h"

#include <pthread.h>

namespace murvelo {

ThreadTimer::ThreadTimer() : thread_([this] { run(); }) {}

ThreadTimer::~ThreadTimer() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

Timer::TimerId ThreadTimer::postAfter(Duration delay, Job job) {
  TimerId id;
  {
    std::lock_guard lock(mutex_);
    id = timers_.add(Clock::now() + delay, std::move(job));
  }
  changed_.notify_all();
  return id;
}

void ThreadTimer::cancel(TimerId id) {
  std::lock_guard lock(mutex_);
  timers_.cancel(id);
}

void ThreadTimer::run() {
  pthread_setname_np(pthread_self(), "timer");
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    if (auto job = timers_.popDue(Clock::now())) {
      lock.unlock();
      (*job)();
      lock.lock();
      continue;
    }
    if (auto next = timers_.nextDue()) {
      changed_.wait_until(lock, *next);
    } else {
      changed_.wait(lock);
    }
  }
}

}  // namespace murvelo
