#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>

#include "base/MainLoop.h"
#include "base/TimerQueue.h"

namespace murvelo {

// A real-time main loop on the thread that calls run(), for the command-line tool and other
// programs without a GUI event loop.
class EventLoop : public MainLoop {
 public:
  void post(Job job) override;
  TimerId postAfter(Duration delay, Job job) override;
  void cancel(TimerId id) override;
  TimePoint now() const override { return Clock::now(); }

  // Runs jobs until quit() is called. Safe to call quit() from any thread or from a job.
  void run();
  void quit();

 private:
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Job> ready_;
  TimerQueue timers_;
  bool quitting_ = false;
};

}  // namespace murvelo
