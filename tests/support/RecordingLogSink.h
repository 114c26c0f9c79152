#pragma once

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/Log.h"

namespace murvelo::test {

// Captures log messages while in scope, so tests can check the exact log texts.
class RecordingLogSink : public LogSink {
 public:
  void write(const LogRecord& record) override {
    std::lock_guard lock(mutex_);
    messages_.emplace_back(record.message);
  }
  std::vector<std::string> messages() const {
    std::lock_guard lock(mutex_);
    return messages_;
  }
  // Whether this exact message was logged.
  bool has(const std::string& message) const { return std::ranges::count(messages(), message) > 0; }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> messages_;
};

// Installs a RecordingLogSink for its lifetime.
class ScopedLogCapture {
 public:
  ScopedLogCapture() : sink_(std::make_shared<RecordingLogSink>()), previous_(Log::setSink(sink_)) {}
  ~ScopedLogCapture() { Log::setSink(previous_); }
  RecordingLogSink& sink() { return *sink_; }

 private:
  std::shared_ptr<RecordingLogSink> sink_;
  std::shared_ptr<LogSink> previous_;
};

}  // namespace murvelo::test
