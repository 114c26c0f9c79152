#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace murvelo {

// Time as the finalisation race sees it: a monotonic clock and one-shot timers whose jobs may run
// on any thread. The app uses real threads; tests and the simulator use a manual clock.
class RaceTimer {
 public:
  using Clock = std::chrono::steady_clock;
  using TimePoint = Clock::time_point;
  using Duration = Clock::duration;
  using Id = std::uint64_t;

  virtual ~RaceTimer() = default;
  virtual TimePoint now() const = 0;
  virtual Id schedule(Duration delay, std::function<void()> job) = 0;
  // A job that has not started yet will not run.
  virtual void cancel(Id id) = 0;
};

}  // namespace murvelo
