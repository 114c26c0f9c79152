#pragma once

#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

#include "app/AppSettings.h"
#include "audio/MicrophoneChoices.h"
#include "desktop/ModelManager.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QListWidget;
class QPushButton;
class QTabWidget;

namespace murvelo {
class MicrophoneWatcher;
}

namespace murvelo::desktop {

// Watches the audio server's inputs for a window; `apply` runs on `owner`'s thread while it lives.
std::unique_ptr<MicrophoneWatcher> watchMicrophones(
    QObject* owner, int intervalMs, std::function<void(bool serverAnswers, const DeviceList& found)> apply);

// The settings: talk key, mode, cleanup level, microphone, auto-paste, login start, the developer
// vocabulary, the terminals pasted into with Ctrl+Shift+V, and the speech engine with its models.
// Every change is written at once and the running program follows it; changes made elsewhere
// show up here. While the window shows, it watches the audio server's inputs.
class SettingsWindow : public QWidget {
 public:
  struct Services {
    ModelManager::Hooks models;
    std::function<void()> openGuide;  // none: no guide button
    int microphoneIntervalMs = 1000;  // how often the inputs are looked at
  };

  SettingsWindow(AppSettings& settings, Services services);
  explicit SettingsWindow(AppSettings& settings) : SettingsWindow(settings, Services{}) {}
  ~SettingsWindow() override;

  // A line under the choices: how the talk key is read, or why it cannot be.
  void setTalkKeyNote(const QString& text);
  void present();

  // For tests and screenshots.
  QTabWidget* tabs() const { return tabs_; }
  QComboBox* hotkey() const { return hotkey_; }
  QComboBox* microphone() const { return microphone_; }
  QLabel* microphoneHint() const { return microphoneHint_; }
  QLabel* microphoneNote() const { return microphoneNote_; }
  const MicrophoneChoices& microphoneChoices() const { return choices_; }
  QListWidget* terminals() const { return terminals_; }
  QComboBox* engine() const { return engine_; }
  QCheckBox* autoPaste() const { return autoPaste_; }
  QLabel* autoPasteSummary() const { return autoPasteSummary_; }
  QCheckBox* developerWords() const { return developerWords_; }
  ModelManager* models() const { return models_; }
  // Adds a terminal class as the Add button does (trimmed, lower-case, once).
  void addTerminal(const QString& windowClass);

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  QWidget* buildDictationTab();
  QWidget* buildMicrophoneTab();
  QWidget* buildPasteTab();
  QWidget* buildSpeechTab();
  void load();
  void showMicrophones();
  void storeTerminals();

  AppSettings& settings_;
  Services services_;
  AppSettings::ObserverId observer_ = 0;
  bool loading_ = false;
  QTabWidget* tabs_;
  QComboBox* hotkey_;
  QComboBox* mode_;
  QComboBox* level_;
  QComboBox* engine_;
  QCheckBox* autoPaste_;
  QLabel* autoPasteSummary_;
  QCheckBox* developerWords_;
  QCheckBox* openAtLogin_;
  QLabel* note_;
  QComboBox* microphone_;
  QLabel* microphoneHint_;
  QLabel* microphoneNote_;
  QListWidget* terminals_;
  QPushButton* removeTerminal_;
  ModelManager* models_;

  std::unique_ptr<MicrophoneWatcher> watcher_;
  std::optional<DeviceList> found_;  // none until the audio server was asked
  bool serverAnswers_ = false;
  MicrophoneChoices choices_;
};

// The key's name as the user sees it on a PC keyboard.
QString hotkeyLabel(HotkeyChoice key);

}  // namespace murvelo::desktop
