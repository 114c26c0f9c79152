#include "speech/StreamingFinalizationCoordinator.h"

#include <algorithm>

#include "base/Log.h"
#include "base/Uuid.h"
#include "speech/OneShotGate.h"

namespace murvelo {
namespace {

const Logger kLog("speech");

struct PendingFinalizer {
  std::string id;
  bool exitedAfterTimeout = false;
};

}  // namespace

// Everything the timer and watcher callbacks touch; they hold it weakly so a late callback after
// the coordinator is gone does nothing.
struct StreamingFinalizationCoordinator::State {
  explicit State(Timer& timer) : timer(timer) {}

  Timer& timer;
  std::function<void()> onRetired;
  mutable std::mutex mutex;
  std::optional<PendingFinalizer> finalizing;
  std::optional<std::string> quarantine;  // id of the finaliser that lost its race
  std::optional<Timer::TimePoint> quarantineStartedAt;
  Duration quarantineBackoff = kMinBackoff;
  int abandonedFinalizers = 0;
  int lifetimeAbandonedFinalizers = 0;
  const Duration minBackoff = kMinBackoff;

  void exited(const std::string& id) {
    {
      std::lock_guard lock(mutex);
      if (finalizing && finalizing->id == id) {
        finalizing->exitedAfterTimeout = true;
        return;
      }
      if (!quarantine || *quarantine != id) return;
      quarantine.reset();
      quarantineStartedAt.reset();
    }
    onRetired();
  }

  RaceOutcome settle(const std::string& id, RaceOutcome outcome) {
    std::lock_guard lock(mutex);
    if (!finalizing || finalizing->id != id) return RaceOutcome::timedOut();
    bool exitedAfterTimeout = finalizing->exitedAfterTimeout;
    finalizing.reset();
    if (outcome.kind == RaceOutcome::Kind::timedOut && !exitedAfterTimeout) {
      quarantine = id;
      quarantineStartedAt = timer.now();
    } else {
      quarantineBackoff = minBackoff;
      abandonedFinalizers = 0;
    }
    return outcome;
  }
};

StreamingFinalizationCoordinator::StreamingFinalizationCoordinator(Timer& timer,
                                                                   std::function<void()> onRetired)
    : state_(std::make_shared<State>(timer)) {
  state_->onRetired =
      onRetired ? std::move(onRetired) : [] { kLog.info("streaming retired finalizer exited"); };
}

StreamingFinalizationCoordinator::~StreamingFinalizationCoordinator() = default;

bool StreamingFinalizationCoordinator::isQuarantined() {
  {
    std::lock_guard lock(state_->mutex);
    if (!state_->quarantine) return false;
    if (state_->lifetimeAbandonedFinalizers > kMaxLifetimeAbandoned) return true;
    if (!state_->quarantineStartedAt) return true;
    if (state_->timer.now() - *state_->quarantineStartedAt < state_->quarantineBackoff) return true;
    state_->quarantine.reset();
    state_->quarantineStartedAt.reset();
    ++state_->abandonedFinalizers;
    ++state_->lifetimeAbandonedFinalizers;
    state_->quarantineBackoff =
        std::min<Duration>(state_->quarantineBackoff * 2, std::chrono::duration_cast<Duration>(kMaxBackoff));
  }
  state_->onRetired();
  return false;
}

void StreamingFinalizationCoordinator::race(Work work, Duration limit,
                                            std::function<void(RaceOutcome)> done) {
  std::string id = makeUuid();
  auto gate = std::make_shared<OneShotGate>();
  {
    std::lock_guard lock(state_->mutex);
    state_->finalizing = PendingFinalizer{id, false};
  }
  std::weak_ptr<State> weak = state_;

  // The watcher: the work's own end resolves the gate, then reports the exit.
  work([gate, weak, id](std::string text) {
    gate->resolve(RaceOutcome::completed(std::move(text)));
    if (auto state = weak.lock()) state->exited(id);
  });

  auto timerId = state_->timer.postAfter(limit, [gate] { gate->resolve(RaceOutcome::timedOut()); });

  gate->wait([weak, id, timerId, done = std::move(done)](RaceOutcome outcome) {
    auto state = weak.lock();
    if (!state) return;
    state->timer.cancel(timerId);
    done(state->settle(id, std::move(outcome)));
  });
}

void StreamingFinalizationCoordinator::finalizerExited(const std::string& id) { state_->exited(id); }

StreamingFinalizationCoordinator::Duration StreamingFinalizationCoordinator::quarantineBackoff() const {
  std::lock_guard lock(state_->mutex);
  return state_->quarantineBackoff;
}

int StreamingFinalizationCoordinator::abandonedFinalizers() const {
  std::lock_guard lock(state_->mutex);
  return state_->abandonedFinalizers;
}

int StreamingFinalizationCoordinator::lifetimeAbandonedFinalizers() const {
  std::lock_guard lock(state_->mutex);
  return state_->lifetimeAbandonedFinalizers;
}

bool StreamingFinalizationCoordinator::hasQuarantinedFinalizer() const {
  std::lock_guard lock(state_->mutex);
  return state_->quarantine.has_value();
}

}  // namespace murvelo
