#include "speech/ThreadRaceTimer.h"

#include <pthread.h>

namespace murvelo {

ThreadRaceTimer::ThreadRaceTimer() : thread_([this] { run(); }) {}

ThreadRaceTimer::~ThreadRaceTimer() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

RaceTimer::Id ThreadRaceTimer::schedule(Duration delay, std::function<void()> job) {
  Id id;
  {
    std::lock_guard lock(mutex_);
    id = timers_.add(Clock::now() + delay, std::move(job));
  }
  changed_.notify_all();
  return id;
}

void ThreadRaceTimer::cancel(Id id) {
  std::lock_guard lock(mutex_);
  timers_.cancel(id);
}

void ThreadRaceTimer::run() {
  pthread_setname_np(pthread_self(), "race-timer");
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
