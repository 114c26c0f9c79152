#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace murvelo {

enum class LogLevel { debug, info, notice, warning, error };

std::string_view logLevelName(LogLevel level);

struct LogRecord {
  LogLevel level;
  std::string_view category;  // "controller", "audio", "speech", ...
  std::string_view message;
};

// Where log records go. Implementations must be thread-safe: any thread may log.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(const LogRecord& record) = 0;
};

// Writes "murvelo[category] level: message" lines to stderr at or above a threshold.
class StderrLogSink : public LogSink {
 public:
  explicit StderrLogSink(LogLevel threshold) : threshold_(threshold) {}
  void write(const LogRecord& record) override;

 private:
  LogLevel threshold_;
};

// The process-wide logging facade. Log texts are technical: never a dictated word, audio or
// clipboard content.
class Log {
 public:
  // Replaces the sink; returns the previous one so a test can put it back.
  static std::shared_ptr<LogSink> setSink(std::shared_ptr<LogSink> sink);
  static void write(LogLevel level, std::string_view category, std::string_view message);

  // The threshold from $MURVELO_LOG_LEVEL (debug, info, notice, warning, error), else `fallback`.
  static LogLevel thresholdFromEnvironment(LogLevel fallback);
};

// A logger bound to one category, the usual way code logs:
//   static const Logger kLog("controller");  kLog.info("begin run");
class Logger {
 public:
  explicit constexpr Logger(std::string_view category) : category_(category) {}
  void debug(std::string_view message) const { Log::write(LogLevel::debug, category_, message); }
  void info(std::string_view message) const { Log::write(LogLevel::info, category_, message); }
  void notice(std::string_view message) const { Log::write(LogLevel::notice, category_, message); }
  void warning(std::string_view message) const { Log::write(LogLevel::warning, category_, message); }
  void error(std::string_view message) const { Log::write(LogLevel::error, category_, message); }
  std::string_view category() const { return category_; }

 private:
  std::string_view category_;
};

}  // namespace murvelo
