#include "base/linux/JournalLogSink.h"

#include <filesystem>
#include <string>

#if MURVELO_HAVE_SYSTEMD
#include <syslog.h>
#include <systemd/sd-journal.h>
#endif

namespace murvelo {
namespace {

#if MURVELO_HAVE_SYSTEMD
int syslogPriority(LogLevel level) {
  switch (level) {
    case LogLevel::debug: return LOG_DEBUG;
    case LogLevel::info: return LOG_INFO;
    case LogLevel::notice: return LOG_NOTICE;
    case LogLevel::warning: return LOG_WARNING;
    case LogLevel::error: return LOG_ERR;
  }
  return LOG_INFO;
}
#endif

}  // namespace

bool JournalLogSink::available() {
#if MURVELO_HAVE_SYSTEMD
  std::error_code ignored;
  return std::filesystem::exists("/run/systemd/journal/socket", ignored);
#else
  return false;
#endif
}

void JournalLogSink::write([[maybe_unused]] const LogRecord& record) {
#if MURVELO_HAVE_SYSTEMD
  std::string message(record.message);
  std::string category(record.category);
  sd_journal_send("MESSAGE=%s", message.c_str(), "PRIORITY=%i", syslogPriority(record.level),
                  "SYSLOG_IDENTIFIER=murvelo", "MURVELO_CATEGORY=%s", category.c_str(), nullptr);
#endif
}

std::shared_ptr<LogSink> makeSystemLogSink(LogLevel stderrThreshold) {
  if (JournalLogSink::available()) return std::make_shared<JournalLogSink>();
  return std::make_shared<StderrLogSink>(Log::thresholdFromEnvironment(stderrThreshold));
}

}  // namespace murvelo
