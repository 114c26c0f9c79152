#pragma once

#include <QWidget>

#include "app/AppSettings.h"

class QCheckBox;
class QComboBox;
class QLabel;

namespace murvelo::desktop {

// The settings a user changes most: talk key, mode, cleanup level, auto-paste, login start and
// the speech engine. Every change is written at once; changes made elsewhere show up here.
class SettingsWindow : public QWidget {
 public:
  explicit SettingsWindow(AppSettings& settings);
  ~SettingsWindow() override;

  // A line under the choices: how the talk key is read, or why it cannot be.
  void setTalkKeyNote(const QString& text);
  void present();

 private:
  void load();

  AppSettings& settings_;
  AppSettings::ObserverId observer_ = 0;
  bool loading_ = false;
  QComboBox* hotkey_;
  QComboBox* mode_;
  QComboBox* level_;
  QComboBox* engine_;
  QCheckBox* autoPaste_;
  QCheckBox* openAtLogin_;
  QLabel* note_;
};

// The key's name as the user sees it on a PC keyboard.
QString hotkeyLabel(HotkeyChoice key);

}  // namespace murvelo::desktop
