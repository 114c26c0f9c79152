#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

#include "audio/CapturedAudio.h"

namespace murvelo {

// The buffers of one capture as they arrive, for streaming recognition. Unbounded: the producer
// never waits. One producer (the capture worker), one consumer (the recogniser's worker).
class LiveBufferStream {
 public:
  explicit LiveBufferStream(AudioFormat format) : format_(format) {}

  const AudioFormat& format() const { return format_; }

  // Producer side. Buffers pushed after finish() are ignored.
  void push(AudioBuffer buffer) {
    {
      std::lock_guard lock(mutex_);
      if (finished_) return;
      queue_.push_back(std::move(buffer));
    }
    ready_.notify_all();
  }
  void finish() {
    {
      std::lock_guard lock(mutex_);
      finished_ = true;
    }
    ready_.notify_all();
  }

  enum class Wait { buffer, finished, timedOut };

  // Consumer side: the next buffer, waiting at most `timeout`. `Wait::finished` once the stream
  // is finished and drained.
  Wait next(AudioBuffer& out, std::chrono::steady_clock::duration timeout) {
    std::unique_lock lock(mutex_);
    ready_.wait_for(lock, timeout, [&] { return !queue_.empty() || finished_; });
    if (!queue_.empty()) {
      out = std::move(queue_.front());
      queue_.pop_front();
      return Wait::buffer;
    }
    return finished_ ? Wait::finished : Wait::timedOut;
  }

  bool isFinished() const {
    std::lock_guard lock(mutex_);
    return finished_;
  }

 private:
  AudioFormat format_;
  mutable std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<AudioBuffer> queue_;
  bool finished_ = false;
};

}  // namespace murvelo
