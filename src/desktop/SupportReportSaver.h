#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <vector>

#include "app/SupportReport.h"
#include "base/Status.h"

class QThread;
class QWidget;

namespace murvelo {
class DefaultsStore;
}

namespace murvelo::desktop {

// Saves the running program's support report: the checks run off the GUI thread (an audio server
// that does not answer must not stall dictation), then the file is written.
class SupportReportSaver : public QObject {
 public:
  // `programProbes` adds what only the running program knows (is the talk key listened to?).
  SupportReportSaver(DefaultsStore& defaults,
                     std::function<std::vector<SupportReport::Probe>()> programProbes);
  ~SupportReportSaver() override;

  // Asks where to save (the home folder and a dated name by default), then writes and says so.
  void save(QWidget* parent);
  // Writes the report to `path`; `done` runs on the GUI thread. False while one is being written.
  bool write(const QString& path, std::function<void(Status)> done);

  // The report text, with this process's recent events; blocks for the checks.
  static std::string build(DefaultsStore& defaults, std::vector<SupportReport::Probe> programProbes);

 private:
  DefaultsStore& defaults_;
  std::function<std::vector<SupportReport::Probe>()> programProbes_;
  QThread* worker_ = nullptr;
};

}  // namespace murvelo::desktop
