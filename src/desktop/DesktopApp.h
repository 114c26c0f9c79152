#pragma once

#include <QObject>
#include <memory>
#include <optional>
#include <string>

#include "app/DictationStatus.h"
#include "app/HUDModel.h"
#include "app/InstanceRequest.h"

namespace murvelo {
class AppSettings;
class DefaultsStore;
class HistoryStore;
class LoginItem;
class SingleInstanceGuard;
}  // namespace murvelo

namespace murvelo::desktop {

class DictationBackends;
class InstanceServer;
class QtMainLoop;
class RecordingHUD;
class SettingsWindow;
class SetupGuide;
class ToolWindows;
class TrayMenu;

// The running program: claims the single instance, assembles the dictation core with the real
// back-ends, and keeps the tray menu, the status panel and the settings window in step with it.
class DesktopApp : public QObject {
 public:
  struct Options {
    std::string programPath;
    int pid = 0;
    unsigned userId = 0;
  };

  explicit DesktopApp(Options options);
  ~DesktopApp() override;

  // The launch sequence. An exit code when the program ends here (another copy runs, or the
  // settings cannot be opened); none when the event loop should run.
  std::optional<int> launch();

  // For tests and screenshots.
  HUDModel& hudModel() { return *hudModel_; }
  RecordingHUD& hud() { return *hud_; }
  TrayMenu& tray() { return *tray_; }
  ToolWindows& tools() { return *tools_; }
  bool hasTrayHost() const { return trayHost_; }
  AppSettings& settings() { return *settings_; }
  SettingsWindow* settingsWindow() const { return settingsWindow_.get(); }
  SetupGuide* guide() const { return guide_.get(); }
  void showGuide();

 private:
  std::string handle(InstanceRequest request);
  void showSettings();
  void showStatus(const DictationStatus& status, bool microphoneReady);
  void refreshTray();
  void applyLoginItem();
  void sayNoTrayOnce();
  void togglePause();
  std::string talk(InstanceRequest request);

  Options options_;
  std::unique_ptr<QtMainLoop> loop_;
  std::unique_ptr<InstanceServer> instance_;
  std::unique_ptr<DefaultsStore> defaults_;
  std::unique_ptr<DictationBackends> dictation_;
  AppSettings* settings_ = nullptr;  // the dictation core's
  HistoryStore* history_ = nullptr;
  std::unique_ptr<SingleInstanceGuard> guard_;
  std::unique_ptr<LoginItem> loginItem_;
  std::unique_ptr<RecordingHUD> hud_;
  std::unique_ptr<HUDModel> hudModel_;
  std::unique_ptr<TrayMenu> tray_;
  std::unique_ptr<SettingsWindow> settingsWindow_;
  std::unique_ptr<SetupGuide> guide_;
  std::unique_ptr<ToolWindows> tools_;
  DictationStatus status_;
  bool trayHost_ = false;
  bool paused_ = false;
};

}  // namespace murvelo::desktop
