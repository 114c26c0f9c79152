#pragma once

#include "base/MainLoop.h"
#include "speech/RaceTimer.h"

namespace murvelo {

// Race timers as delayed jobs of a main loop: with a ManualLoop, virtual time drives the race.
class MainLoopRaceTimer : public RaceTimer {
 public:
  explicit MainLoopRaceTimer(MainLoop& loop) : loop_(loop) {}
  TimePoint now() const override { return loop_.now(); }
  Id schedule(Duration delay, std::function<void()> job) override {
    return loop_.postAfter(delay, std::move(job));
  }
  void cancel(Id id) override { loop_.cancel(id); }

 private:
  MainLoop& loop_;
};

}  // namespace murvelo
