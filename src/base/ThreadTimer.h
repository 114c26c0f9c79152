#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "base/Timer.h"
#include "base/TimerQueue.h"

namespace murvelo {

// Delayed jobs on a thread of their own, sleeping on the steady clock, so a finalisation race is
// decided even while the main loop and the recogniser are busy.
class ThreadTimer : public Timer {
 public:
  ThreadTimer();
  ~ThreadTimer() override;
  ThreadTimer(const ThreadTimer&) = delete;
  ThreadTimer& operator=(const ThreadTimer&) = delete;

  TimePoint now() const override { return Clock::now(); }
  TimerId postAfter(Duration delay, Job job) override;
  void cancel(TimerId id) override;

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  TimerQueue timers_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace murvelo
