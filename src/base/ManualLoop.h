#pragma once

#include <deque>
#include <mutex>

#include "base/MainLoop.h"
#include "base/TimerQueue.h"

namespace murvelo {

// A main loop for tests: nothing runs until the test says so, and time moves only when the test
// advances it, so an 18 s watchdog fires in microseconds of real time.
class ManualLoop : public MainLoop {
 public:
  ManualLoop();

  void post(Job job) override;
  TimerId postAfter(Duration delay, Job job) override;
  void cancel(TimerId id) override;
  TimePoint now() const override;

  // Runs posted jobs (and jobs they post) and timers already due, until none is left.
  // Returns how many jobs ran.
  std::size_t runUntilIdle();
  // Moves the clock forward by `delay`, running every job and timer in time order on the way.
  std::size_t advance(Duration delay);
  // Advances to the next timer and runs it; false when no timer is pending.
  bool advanceToNextTimer();
  bool hasPendingTimers() const;

 private:
  bool runOne();  // one posted job or one due timer

  mutable std::mutex mutex_;
  TimePoint now_;
  std::deque<Job> ready_;
  TimerQueue timers_;
};

}  // namespace murvelo
