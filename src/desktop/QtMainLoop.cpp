#include "desktop/QtMainLoop.h"

#include <QThread>
#include <QTimer>

namespace murvelo::desktop {

QtMainLoop::QtMainLoop() = default;

QtMainLoop::~QtMainLoop() {
  std::lock_guard lock(mutex_);
  for (auto& [id, pending] : pending_) delete pending.timer;
  pending_.clear();
}

bool QtMainLoop::onLoopThread() const { return QThread::currentThread() == thread(); }

void QtMainLoop::post(Job job) {
  // A queued call runs on this object's thread, and not at all once the object is gone.
  QMetaObject::invokeMethod(
      this, [job = std::move(job)] { job(); }, Qt::QueuedConnection);
}

MainLoop::TimerId QtMainLoop::postAfter(Duration delay, Job job) {
  TimerId id = ++lastId_;
  {
    std::lock_guard lock(mutex_);
    pending_.emplace(id, Pending{std::move(job), nullptr});
  }
  if (onLoopThread())
    arm(id, delay);
  else
    QMetaObject::invokeMethod(
        this, [this, id, delay] { arm(id, delay); }, Qt::QueuedConnection);
  return id;
}

void QtMainLoop::arm(TimerId id, Duration delay) {
  auto* timer = new QTimer(this);
  timer->setSingleShot(true);
  timer->setTimerType(Qt::PreciseTimer);
  auto ms = std::chrono::ceil<std::chrono::milliseconds>(delay);
  timer->setInterval(std::max<std::chrono::milliseconds>(ms, std::chrono::milliseconds(0)));
  connect(timer, &QTimer::timeout, this, [this, id] { fire(id); });
  {
    std::lock_guard lock(mutex_);
    auto found = pending_.find(id);
    if (found == pending_.end()) {  // cancelled before it was armed
      delete timer;
      return;
    }
    found->second.timer = timer;
  }
  timer->start();
}

void QtMainLoop::fire(TimerId id) {
  Job job;
  QTimer* timer = nullptr;
  {
    std::lock_guard lock(mutex_);
    auto found = pending_.find(id);
    if (found == pending_.end()) return;
    job = std::move(found->second.job);
    timer = found->second.timer;
    pending_.erase(found);
  }
  if (timer) timer->deleteLater();
  job();
}

void QtMainLoop::cancel(TimerId id) {
  QTimer* timer = nullptr;
  {
    std::lock_guard lock(mutex_);
    auto found = pending_.find(id);
    if (found == pending_.end()) return;
    timer = found->second.timer;
    pending_.erase(found);
  }
  if (!timer) return;
  if (onLoopThread()) {
    timer->stop();
    timer->deleteLater();
  } else {
    QMetaObject::invokeMethod(
        timer,
        [timer] {
          timer->stop();
          timer->deleteLater();
        },
        Qt::QueuedConnection);
  }
}

std::size_t QtMainLoop::pendingTimers() const {
  std::lock_guard lock(mutex_);
  return pending_.size();
}

}  // namespace murvelo::desktop
