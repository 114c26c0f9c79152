#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "base/TimerQueue.h"
#include "speech/RaceTimer.h"

namespace murvelo {

// Race timers on a thread of their own, sleeping on the steady clock, so a race is decided even
// while the main loop and the recogniser are busy.
class ThreadRaceTimer : public RaceTimer {
 public:
  ThreadRaceTimer();
  ~ThreadRaceTimer() override;
  ThreadRaceTimer(const ThreadRaceTimer&) = delete;
  ThreadRaceTimer& operator=(const ThreadRaceTimer&) = delete;

  TimePoint now() const override { return Clock::now(); }
  Id schedule(Duration delay, std::function<void()> job) override;
  void cancel(Id id) override;

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  TimerQueue timers_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace murvelo
