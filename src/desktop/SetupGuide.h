#pragma once

#include <QWizard>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/AppSettings.h"
#include "app/SetupChecks.h"
#include "audio/CaptureSession.h"
#include "base/Status.h"

class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QTimer;

namespace murvelo {
class MicrophoneWatcher;
}

namespace murvelo::desktop {

class ModelDownloadRow;

// One page of the guide: a check's live status, and the exact fix while something is missing.
class CheckPage : public QWizardPage {
 public:
  CheckPage(const QString& title, std::function<CheckOutcome()> check, QWidget* parent = nullptr);

  // Looks again now; the page also does so every second while it shows.
  void recheck();
  const CheckOutcome& outcome() const { return outcome_; }
  // Room under the fix for the page's own controls.
  QWidget* extra() const { return extra_; }
  QLabel* statusLabel() const { return status_; }
  QLabel* commandLine() const { return command_; }

 protected:
  void initializePage() override;
  void cleanupPage() override;
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  std::function<CheckOutcome()> check_;
  CheckOutcome outcome_;
  QLabel* status_;
  QLabel* fix_;
  QLabel* command_;
  QPushButton* copy_;
  QWidget* extra_;
  QTimer* timer_;
};

// The first-start guide: a page per check (microphone, talk key, accessibility, posting the
// paste keys, the speech model) with live status and fixes, then a box to dictate into. Finishing
// it marks onboarding complete and finished.
class SetupGuide : public QWizard {
 public:
  struct Probes {
    std::function<TalkKeyFacts()> talkKey;
    std::function<std::optional<bool>()> accessibility;
    std::function<Status()> enableAccessibility;
    std::function<PostingFacts()> postingKeys;
    std::function<std::optional<std::string>()> model;  // the whisper model in use
    std::function<void()> modelsChanged;
    int microphoneIntervalMs = 1000;
  };
  enum PageId { microphonePage, talkKeyPage, accessibilityPage, postingPage, modelPage, tryPage };

  SetupGuide(AppSettings& settings, Probes probes);
  ~SetupGuide() override;

  void present();

  // For tests and screenshots.
  CheckPage* checkPage(PageId id) const;
  QProgressBar* levelMeter() const { return level_; }
  QPlainTextEdit* tryBox() const { return tryBox_; }
  QPushButton* downloadButton() const { return download_; }
  ModelDownloadRow* downloadRow() const { return downloadRow_; }
  QPushButton* enableAccessibilityButton() const { return enableAccessibility_; }

 protected:
  void done(int result) override;

 private:
  CheckPage* addCheck(PageId id, const QString& title, std::function<CheckOutcome()> check);
  CheckOutcome microphoneOutcome();
  void meterLevel();

  AppSettings& settings_;
  Probes probes_;
  std::unique_ptr<MicrophoneWatcher> watcher_;
  std::optional<MicrophoneFacts> microphone_;
  DeviceList found_;
  std::string metered_;
  QProgressBar* level_ = nullptr;
  QTimer* levelTimer_ = nullptr;
  QPushButton* enableAccessibility_ = nullptr;
  QLabel* accessibilityResult_ = nullptr;
  QPushButton* download_ = nullptr;
  ModelDownloadRow* downloadRow_ = nullptr;
  QPlainTextEdit* tryBox_ = nullptr;
};

}  // namespace murvelo::desktop
