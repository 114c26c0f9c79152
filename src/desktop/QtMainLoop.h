#pragma once

#include <QObject>
#include <atomic>
#include <mutex>
#include <unordered_map>

#include "base/MainLoop.h"

class QTimer;

namespace murvelo::desktop {

// The core's main loop on Qt's event loop: jobs run on the thread that owns this object (the
// GUI thread), delayed jobs on precise single-shot timers that are stopped when cancelled.
class QtMainLoop : public QObject, public MainLoop {
 public:
  QtMainLoop();
  ~QtMainLoop() override;

  void post(Job job) override;
  TimerId postAfter(Duration delay, Job job) override;
  void cancel(TimerId id) override;
  TimePoint now() const override { return Clock::now(); }

  // Delayed jobs waiting to run; the idle program has none it did not ask for.
  std::size_t pendingTimers() const;

 private:
  struct Pending {
    Job job;
    QTimer* timer = nullptr;  // set on the GUI thread once armed
  };
  void arm(TimerId id, Duration delay);
  void fire(TimerId id);
  bool onLoopThread() const;

  mutable std::mutex mutex_;
  std::unordered_map<TimerId, Pending> pending_;
  std::atomic<TimerId> lastId_{0};
};

}  // namespace murvelo::desktop
