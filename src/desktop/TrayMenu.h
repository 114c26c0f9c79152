#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/SettingsValues.h"

class QAction;
class QActionGroup;
class QMenu;
class QSystemTrayIcon;

namespace murvelo::desktop {

// The tray icon and its menu. Works without a tray host too: the menu then exists only for
// tests and screenshots, and the program is reached by starting it again.
class TrayMenu : public QObject {
 public:
  struct Hooks {
    std::function<void()> togglePause;
    std::function<void(CleanupLevel)> setLevel;
    std::function<std::vector<std::string>()> recent;  // newest first
    std::function<void(const std::string&)> copy;
    std::function<void()> settings;
    std::function<void()> supportReport;
    std::function<void()> quit;
  };
  static constexpr int kRecentShown = 10;
  static constexpr int kPreviewChars = 48;

  explicit TrayMenu(Hooks hooks);
  ~TrayMenu() override;

  // Shows the icon when the desktop has a tray; false when it has none.
  bool showIcon();
  void setStatus(const std::string& text, bool active);
  void setPaused(bool paused);
  void setLevel(CleanupLevel level);
  // Adds "History and My Words…" and "Accuracy test…" above the support report.
  void addToolActions(std::function<void()> history, std::function<void()> accuracyTest);

  QMenu* menu() const { return menu_.get(); }
  QMenu* recentMenu() const { return recentMenu_; }
  QAction* statusAction() const { return status_; }
  QAction* pauseAction() const { return pause_; }
  // Fills the recent dictations submenu, as opening it does.
  void refreshRecent();

  // A one-line preview of a dictation for the menu.
  static QString preview(const std::string& text);

 private:
  Hooks hooks_;
  std::unique_ptr<QMenu> menu_;
  std::unique_ptr<QSystemTrayIcon> icon_;
  QAction* status_ = nullptr;
  QAction* pause_ = nullptr;
  QAction* report_ = nullptr;
  QMenu* recentMenu_ = nullptr;
  QActionGroup* levels_ = nullptr;
  bool active_ = false;
};

}  // namespace murvelo::desktop
