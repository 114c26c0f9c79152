#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/Log.h"

namespace murvelo::test {

// Captures log records while in scope, so tests can check the exact log texts.
class RecordingLogSink : public LogSink {
 public:
  struct Entry {
    LogLevel level;
    std::string category;
    std::string message;
  };

  void write(const LogRecord& record) override {
    std::lock_guard lock(mutex_);
    entries_.push_back({record.level, std::string(record.category), std::string(record.message)});
  }
  std::vector<Entry> entries() const {
    std::lock_guard lock(mutex_);
    return entries_;
  }
  std::vector<std::string> messages() const {
    std::vector<std::string> out;
    for (const auto& entry : entries()) out.push_back(entry.message);
    return out;
  }
  // Whether this exact message was logged.
  bool has(const std::string& message) const {
    for (const auto& entry : entries())
      if (entry.message == message) return true;
    return false;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Entry> entries_;
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
