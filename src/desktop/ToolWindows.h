#pragma once

#include <functional>
#include <memory>
#include <string>

namespace murvelo {
class AccuracyProgress;
class DefaultsStore;
class PhraseRecorder;
}  // namespace murvelo

namespace murvelo::desktop {

class AccuracyWindow;
class DictationBackends;
class HistoryWindow;
class SupportReportSaver;

// The windows the tray opens next to the settings: history with My Words, the accuracy test, and
// the support report. Each is made at first use and kept.
class ToolWindows {
 public:
  ToolWindows(DictationBackends& dictation, DefaultsStore& defaults,
              std::function<void(const std::string&)> copy);
  ~ToolWindows();

  void showHistory();
  void showWords();
  void showAccuracyTest();
  void saveSupportReport();

  HistoryWindow* history() { return history_.get(); }
  AccuracyWindow* accuracy() { return accuracy_.get(); }
  SupportReportSaver& reports() { return *reports_; }

 private:
  HistoryWindow& historyWindow();

  DictationBackends& dictation_;
  DefaultsStore& defaults_;
  std::function<void(const std::string&)> copy_;
  std::unique_ptr<AccuracyProgress> progress_;
  std::unique_ptr<PhraseRecorder> phrases_;
  std::unique_ptr<HistoryWindow> history_;
  std::unique_ptr<AccuracyWindow> accuracy_;
  std::unique_ptr<SupportReportSaver> reports_;
  bool pausedForReading_ = false;
};

}  // namespace murvelo::desktop
