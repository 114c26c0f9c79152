#include "base/SerialQueue.h"

#include <pthread.h>

namespace murvelo {

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)) {
  thread_ = std::thread([this] { run(); });
#if defined(__linux__)
  // The kernel keeps 15 characters; the tail of the label is the part that tells queues apart.
  std::string name = label_.size() > 15 ? label_.substr(label_.size() - 15) : label_;
  pthread_setname_np(thread_.native_handle(), name.c_str());
#endif
}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard lock(mutex_);
    quitting_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void SerialQueue::post(std::function<void()> job) {
  {
    std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
    ++posted_;
  }
  wake_.notify_one();
}

void SerialQueue::drain() {
  if (isCurrent()) return;
  std::unique_lock lock(mutex_);
  std::uint64_t target = posted_;
  idle_.wait(lock, [&] { return done_ >= target; });
}

void SerialQueue::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return quitting_ || !jobs_.empty(); });
    if (jobs_.empty()) return;  // quitting with nothing left
    auto job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    if (job) job();
    lock.lock();
    ++done_;
    idle_.notify_all();
  }
}

}  // namespace murvelo
