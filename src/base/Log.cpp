#include "base/Log.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

namespace murvelo {
namespace {

std::mutex& sinkMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<LogSink>& currentSink() {
  static std::shared_ptr<LogSink> sink =
      std::make_shared<StderrLogSink>(Log::thresholdFromEnvironment(LogLevel::warning));
  return sink;
}

}  // namespace

std::string_view logLevelName(LogLevel level) {
  switch (level) {
    case LogLevel::debug: return "debug";
    case LogLevel::info: return "info";
    case LogLevel::notice: return "notice";
    case LogLevel::warning: return "warning";
    case LogLevel::error: return "error";
  }
  return "unknown";
}

void StderrLogSink::write(const LogRecord& record) {
  if (record.level < threshold_) return;
  std::string line = "murvelo[";
  line.append(record.category).append("] ").append(logLevelName(record.level)).append(": ");
  line.append(record.message).push_back('\n');
  // One fwrite per record keeps lines from different threads whole.
  std::fwrite(line.data(), 1, line.size(), stderr);
}

std::shared_ptr<LogSink> Log::setSink(std::shared_ptr<LogSink> sink) {
  std::lock_guard lock(sinkMutex());
  std::swap(currentSink(), sink);
  return sink;
}

void Log::write(LogLevel level, std::string_view category, std::string_view message) {
  std::shared_ptr<LogSink> sink;
  {
    std::lock_guard lock(sinkMutex());
    sink = currentSink();
  }
  if (sink) sink->write(LogRecord{level, category, message});
}

LogLevel Log::thresholdFromEnvironment(LogLevel fallback) {
  const char* value = std::getenv("MURVELO_LOG_LEVEL");
  if (value == nullptr) return fallback;
  for (LogLevel level :
       {LogLevel::debug, LogLevel::info, LogLevel::notice, LogLevel::warning, LogLevel::error}) {
    if (logLevelName(level) == value) return level;
  }
  return fallback;
}

}  // namespace murvelo
