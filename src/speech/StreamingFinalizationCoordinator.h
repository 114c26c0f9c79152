#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/Timer.h"
#include "speech/RaceOutcome.h"

namespace murvelo {

// Races the finalisation of a streaming session against a time limit. Work that loses the race
// is never cancelled (a hung recogniser call cannot be): it is quarantined, and no new streaming
// session should open until it exits or its back-off runs out. Thread-safe; callbacks may arrive
// on the timer's thread or the work's thread.
class StreamingFinalizationCoordinator {
 public:
  using Duration = Timer::Duration;
  // Reports the end of a finalisation, once, from any thread.
  using Finished = std::function<void(std::string text)>;
  // Starts a finalisation; it calls Finished when (if ever) it ends.
  using Work = std::function<void(Finished finished)>;

  static constexpr std::chrono::seconds kMinBackoff{60};
  static constexpr std::chrono::seconds kMaxBackoff{1800};
  static constexpr int kMaxLifetimeAbandoned = 7;  // beyond this, a quarantine waits for the exit

  explicit StreamingFinalizationCoordinator(Timer& timer, std::function<void()> onRetired = nullptr);
  ~StreamingFinalizationCoordinator();
  StreamingFinalizationCoordinator(const StreamingFinalizationCoordinator&) = delete;
  StreamingFinalizationCoordinator& operator=(const StreamingFinalizationCoordinator&) = delete;

  // Asked before a streaming session opens. May abandon a quarantined finaliser whose back-off
  // has run out (and then answers false).
  bool isQuarantined();
  // Runs `work` against `limit`; `done` gets the outcome on the thread that decided the race.
  // Races run one at a time in the order they were asked for: a later one waits (its work not
  // yet started, its clock not yet running) until the one before it is decided.
  void race(Work work, Duration limit, std::function<void(RaceOutcome)> done);
  // The watcher's report that the finaliser of race `id` has ended.
  void finalizerExited(const std::string& id);

  // For diagnostics and tests.
  Duration quarantineBackoff() const;
  int abandonedFinalizers() const;
  int lifetimeAbandonedFinalizers() const;
  bool hasQuarantinedFinalizer() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace murvelo
