#pragma once

#include <memory>

#include "base/Log.h"

namespace murvelo {

// Sends records to the systemd journal (SYSLOG_IDENTIFIER=murvelo, MURVELO_CATEGORY=<category>).
class JournalLogSink : public LogSink {
 public:
  // True when a journal is there to receive records.
  static bool available();
  void write(const LogRecord& record) override;
};

// The sink the programs install at start: the journal when there is one, stderr otherwise.
std::shared_ptr<LogSink> makeSystemLogSink(LogLevel stderrThreshold);

}  // namespace murvelo
