#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace murvelo {

// A monotonic clock with one-shot delayed jobs. Which thread runs a job is the implementation's
// choice: a main loop runs it on the loop, a ThreadTimer on its own thread; tests and the
// simulator drive one with a manual clock.
class Timer {
 public:
  using Clock = std::chrono::steady_clock;
  using TimePoint = Clock::time_point;
  using Duration = Clock::duration;
  using Job = std::function<void()>;
  using TimerId = std::uint64_t;  // 0 is never a valid id

  virtual ~Timer() = default;

  // Runs `job` once `delay` has passed. Safe from any thread.
  virtual TimerId postAfter(Duration delay, Job job) = 0;
  // Forgets a delayed job that has not started yet; unknown or spent ids are ignored.
  virtual void cancel(TimerId id) = 0;
  // The timer's monotonic clock.
  virtual TimePoint now() const = 0;
};

}  // namespace murvelo
