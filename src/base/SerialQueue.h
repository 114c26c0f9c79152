#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace murvelo {

// One worker thread that runs posted jobs in order: the serial queues of the capture path
// ("com.murvelo.mic-capture", "com.murvelo.mic-stop") and any other blocking work that must stay
// ordered. The thread carries the label (shortened to what the kernel keeps) for debuggers.
class SerialQueue {
 public:
  explicit SerialQueue(std::string label);
  // Runs the jobs already posted, then joins the thread.
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  const std::string& label() const { return label_; }

  // Safe from any thread, including the queue's own.
  void post(std::function<void()> job);
  // Returns once every job posted before the call has run. From the queue itself it returns at
  // once (waiting there would wait forever).
  void drain();
  bool isCurrent() const { return std::this_thread::get_id() == thread_.get_id(); }

 private:
  void run();

  std::string label_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  std::deque<std::function<void()>> jobs_;
  std::uint64_t posted_ = 0;
  std::uint64_t done_ = 0;
  bool quitting_ = false;
  std::thread thread_;
};

// Counts work that has been scheduled but not finished, and lets another thread wait, with a
// limit, until none is left.
class WaitGroup {
 public:
  void enter() {
    std::lock_guard lock(mutex_);
    ++count_;
  }
  void leave() {
    {
      std::lock_guard lock(mutex_);
      if (count_ > 0) --count_;
    }
    empty_.notify_all();
  }
  bool idle() const {
    std::lock_guard lock(mutex_);
    return count_ == 0;
  }
  // True when the group emptied within `limit`.
  template <typename Rep, typename Period>
  bool waitFor(std::chrono::duration<Rep, Period> limit) {
    std::unique_lock lock(mutex_);
    return empty_.wait_for(lock, limit, [this] { return count_ == 0; });
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable empty_;
  int count_ = 0;
};

}  // namespace murvelo
