#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "app/SettingsValues.h"
#include "audio/MicrophoneSelection.h"
#include "audio/MicrophoneStartupHistory.h"
#include "base/Status.h"

namespace murvelo {

class DefaultsStore;

// The user's choices. Created once at start-up: it reads every key, applies defaults and
// migrations, and writes the normalised values back. Each assignment writes its key at once and
// tells the observers. Main thread only.
class AppSettings {
 public:
  enum class Field {
    cleanupLevel,
    hotkey,
    recordingMode,
    onboardingComplete,
    onboardingFinished,
    autoPaste,
    useDictationEngine,
    developerToolsVocabularyEnabled,
    betaUpload,
    openAtLogin,
    microphoneSelection,
    microphoneStartupHistory,
    deviceID,
    speechEngine,
    terminalWindowClasses,
  };
  static constexpr Field kAllFields[] = {
      Field::cleanupLevel,
      Field::hotkey,
      Field::recordingMode,
      Field::onboardingComplete,
      Field::onboardingFinished,
      Field::autoPaste,
      Field::useDictationEngine,
      Field::developerToolsVocabularyEnabled,
      Field::betaUpload,
      Field::openAtLogin,
      Field::microphoneSelection,
      Field::microphoneStartupHistory,
      Field::deviceID,
      Field::speechEngine,
      Field::terminalWindowClasses,
  };
  // The defaults key a field is stored under.
  static std::string_view keyOf(Field field);

  using Observer = std::function<void(Field)>;
  using ObserverId = std::uint64_t;

  explicit AppSettings(DefaultsStore& defaults);
  AppSettings(const AppSettings&) = delete;
  AppSettings& operator=(const AppSettings&) = delete;

  CleanupLevel cleanupLevel() const { return cleanupLevel_; }
  HotkeyChoice hotkey() const { return hotkey_; }
  RecordingMode recordingMode() const { return recordingMode_; }
  bool onboardingComplete() const { return onboardingComplete_; }
  bool onboardingFinished() const { return onboardingFinished_; }
  bool autoPaste() const { return autoPaste_; }
  bool useDictationEngine() const { return useDictationEngine_; }
  bool developerToolsVocabularyEnabled() const { return developerToolsVocabularyEnabled_; }
  bool betaUpload() const { return betaUpload_; }
  bool openAtLogin() const { return openAtLogin_; }
  const MicrophoneSelection& microphoneSelection() const { return microphoneSelection_; }
  const MicrophoneStartupHistory& microphoneStartupHistory() const { return startupHistory_; }
  const std::string& deviceID() const { return deviceID_; }
  SpeechEngineChoice speechEngine() const { return speechEngine_; }
  // Window classes pasted into with Ctrl+Shift+V, on top of the terminals known already.
  const std::vector<std::string>& terminalWindowClasses() const { return terminalWindowClasses_; }

  void setCleanupLevel(CleanupLevel value);
  void setHotkey(HotkeyChoice value);
  void setRecordingMode(RecordingMode value);
  void setOnboardingComplete(bool value);
  void setOnboardingFinished(bool value);
  void setAutoPaste(bool value);
  void setUseDictationEngine(bool value);
  // The program's launch turns streaming off, on disk too, whatever was stored, until its engine
  // has warmed; a tool reading the settings meanwhile must not touch the running program's value.
  void resetUseDictationEngineForLaunch();
  void setDeveloperToolsVocabularyEnabled(bool value);
  void setBetaUpload(bool value);
  void setOpenAtLogin(bool value);
  void setMicrophoneSelection(MicrophoneSelection value);
  void setMicrophoneStartupHistory(MicrophoneStartupHistory value);
  void setDeviceID(std::string value);
  void setSpeechEngine(SpeechEngineChoice value);
  void setTerminalWindowClasses(std::vector<std::string> value);
  // Adds one microphone start (ignored when out of range) and saves the history.
  void recordMicrophoneStartup(std::string_view deviceID, std::int64_t ms);

  ObserverId addObserver(Observer observer);
  void removeObserver(ObserverId id);

  // Whether the last write reached the disk (the value is in memory either way).
  const Status& lastWrite() const { return lastWrite_; }

 private:
  void load();
  void write(Field field);
  template <typename T>
  void assign(T& member, T value, Field field);

  DefaultsStore& defaults_;
  CleanupLevel cleanupLevel_ = CleanupLevel::light;
  HotkeyChoice hotkey_ = HotkeyChoice::rightOption;
  RecordingMode recordingMode_ = RecordingMode::hold;
  bool onboardingComplete_ = false;
  bool onboardingFinished_ = false;
  bool autoPaste_ = true;
  bool useDictationEngine_ = false;
  bool developerToolsVocabularyEnabled_ = false;
  bool betaUpload_ = true;
  bool openAtLogin_ = true;
  MicrophoneSelection microphoneSelection_ = MicrophoneSelection::builtIn();
  MicrophoneStartupHistory startupHistory_;
  std::string deviceID_;
  SpeechEngineChoice speechEngine_ = SpeechEngineChoice::automatic;
  std::vector<std::string> terminalWindowClasses_;

  std::map<ObserverId, Observer> observers_;
  ObserverId lastObserverId_ = 0;
  Status lastWrite_ = Status::ok();
};

}  // namespace murvelo
