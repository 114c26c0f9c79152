#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace murvelo {

// The main thread as the core sees it. The controller, settings, HUD model and delivery run only
// in jobs of this loop; workers post their results back to it.
class MainLoop {
 public:
  using Clock = std::chrono::steady_clock;
  using TimePoint = Clock::time_point;
  using Duration = Clock::duration;
  using Job = std::function<void()>;
  using TimerId = std::uint64_t;  // 0 is never a valid id

  virtual ~MainLoop() = default;

  // Runs `job` on the loop soon. Safe from any thread.
  virtual void post(Job job) = 0;
  // Runs `job` on the loop once `delay` has passed. Safe from any thread.
  virtual TimerId postAfter(Duration delay, Job job) = 0;
  // Forgets a delayed job that has not run yet; unknown or spent ids are ignored.
  virtual void cancel(TimerId id) = 0;
  // The loop's monotonic clock.
  virtual TimePoint now() const = 0;
};

}  // namespace murvelo
