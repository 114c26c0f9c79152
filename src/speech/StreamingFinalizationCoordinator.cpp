#include "speech/StreamingFinalizationCoordinator.h"

#include <algorithm>
#include <deque>

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

struct QueuedRace {
  std::string id;
  StreamingFinalizationCoordinator::Work work;
  StreamingFinalizationCoordinator::Duration limit;
  std::function<void(RaceOutcome)> done;
};

}  // namespace

// Everything the timer and watcher callbacks touch; they hold it weakly so a late callback after
// the coordinator is gone does nothing.
struct StreamingFinalizationCoordinator::State {
  explicit State(Timer& timer) : timer(timer) {}

  Timer& timer;
  std::function<void()> onRetired;
  mutable std::mutex mutex;
  // One race at a time: a finaliser that overlaps another waits its turn, so each is judged on
  // its own clock and one that hangs is quarantined whatever else is in flight.
  std::optional<PendingFinalizer> finalizing;
  std::deque<QueuedRace> waiting;
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

  // Decides race `id` and hands over the slot to the next waiting race, if any.
  std::pair<RaceOutcome, std::optional<QueuedRace>> settle(const std::string& id, RaceOutcome outcome) {
    std::lock_guard lock(mutex);
    if (!finalizing || finalizing->id != id) return {RaceOutcome::timedOut(), std::nullopt};
    bool exitedAfterTimeout = finalizing->exitedAfterTimeout;
    finalizing.reset();
    if (outcome.kind == RaceOutcome::Kind::timedOut && !exitedAfterTimeout) {
      quarantine = id;
      quarantineStartedAt = timer.now();
    } else {
      quarantineBackoff = minBackoff;
      abandonedFinalizers = 0;
    }
    std::optional<QueuedRace> next;
    if (!waiting.empty()) {
      next = std::move(waiting.front());
      waiting.pop_front();
      finalizing = PendingFinalizer{next->id, false};
    }
    return {std::move(outcome), std::move(next)};
  }

  static void start(const std::shared_ptr<State>& state, QueuedRace race) {
    auto gate = std::make_shared<OneShotGate>();
    std::weak_ptr<State> weak = state;
    const std::string id = race.id;

    // The watcher: the work's own end resolves the gate, then reports the exit.
    race.work([gate, weak, id](std::string text) {
      gate->resolve(RaceOutcome::completed(std::move(text)));
      if (auto state = weak.lock()) state->exited(id);
    });

    auto timerId = state->timer.postAfter(race.limit, [gate] { gate->resolve(RaceOutcome::timedOut()); });

    gate->wait([weak, id, timerId, done = std::move(race.done)](RaceOutcome outcome) {
      auto state = weak.lock();
      if (!state) return;
      state->timer.cancel(timerId);
      auto [decided, next] = state->settle(id, std::move(outcome));
      done(std::move(decided));
      if (next) start(state, std::move(*next));
    });
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
  QueuedRace race{makeUuid(), std::move(work), limit, std::move(done)};
  {
    std::lock_guard lock(state_->mutex);
    if (state_->finalizing) {
      state_->waiting.push_back(std::move(race));
      return;
    }
    state_->finalizing = PendingFinalizer{race.id, false};
  }
  State::start(state_, std::move(race));
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
