#pragma once

#include <functional>
#include <mutex>
#include <optional>

#include "speech/RaceOutcome.h"

namespace murvelo {

// Where the timer and the watcher of one race meet: the first outcome wins, later ones are
// dropped. Guarded by its own lock because both sides resolve it from their own threads.
class OneShotGate {
 public:
  using Continuation = std::function<void(RaceOutcome)>;

  void resolve(RaceOutcome outcome) {
    Continuation waiter;
    {
      std::lock_guard lock(mutex_);
      if (outcome_) return;
      outcome_ = outcome;
      waiter = std::move(continuation_);
      continuation_ = nullptr;
    }
    if (waiter) waiter(std::move(outcome));
  }

  // Calls `continuation` with the outcome: at once when there is one, else from resolve().
  void wait(Continuation continuation) {
    std::optional<RaceOutcome> ready;
    {
      std::lock_guard lock(mutex_);
      if (outcome_) {
        ready = outcome_;
      } else {
        continuation_ = std::move(continuation);
        return;
      }
    }
    continuation(std::move(*ready));
  }

 private:
  std::mutex mutex_;
  std::optional<RaceOutcome> outcome_;
  Continuation continuation_;
};

}  // namespace murvelo
