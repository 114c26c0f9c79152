#include "app/AppSettings.h"

#include <utility>
#include <vector>

#include "base/DefaultsStore.h"
#include "base/Uuid.h"

namespace murvelo {

std::string_view AppSettings::keyOf(Field field) {
  switch (field) {
    case Field::cleanupLevel: return "cleanupLevel";
    case Field::hotkey: return "hotkey";
    case Field::recordingMode: return "recordingMode";
    case Field::onboardingComplete: return "onboardingComplete";
    case Field::onboardingFinished: return "onboardingFinished";
    case Field::autoPaste: return "autoPaste";
    case Field::useDictationEngine: return "useDictationEngine";
    case Field::developerToolsVocabularyEnabled: return "developerToolsVocabularyEnabled";
    case Field::betaUpload: return "betaUpload";
    case Field::openAtLogin: return "openAtLogin";
    case Field::microphoneSelection: return kMicrophoneSelectionKey;
    case Field::microphoneStartupHistory: return kMicrophoneStartupHistoryKey;
    case Field::deviceID: return "deviceID";
    case Field::speechEngine: return "speechEngine";
    case Field::terminalWindowClasses: return "terminalWindowClasses";
  }
  return {};
}

AppSettings::AppSettings(DefaultsStore& defaults) : defaults_(defaults) { load(); }

// The order and the write-backs are deliberate: each step reads one key, and only the keys whose
// normalised value must be on disk from now on are written.
void AppSettings::load() {
  // The old Rewrite level ("medium") becomes Format, one way; the level is always written back.
  auto storedLevel = defaults_.string(keyOf(Field::cleanupLevel));
  auto level = storedLevel ? parseCleanupLevel(*storedLevel) : std::nullopt;
  cleanupLevel_ = level.value_or(CleanupLevel::light);
  if (cleanupLevel_ == CleanupLevel::medium) cleanupLevel_ = CleanupLevel::format;
  write(Field::cleanupLevel);

  auto storedKey = defaults_.string(keyOf(Field::hotkey));
  hotkey_ = (storedKey ? parseHotkeyChoice(*storedKey) : std::nullopt).value_or(HotkeyChoice::rightOption);

  recordingMode_ =
      defaults_.string(keyOf(Field::recordingMode)) == "toggle" ? RecordingMode::toggle : RecordingMode::hold;

  onboardingComplete_ = defaults_.boolean(keyOf(Field::onboardingComplete)).value_or(false);
  onboardingFinished_ = defaults_.boolean(keyOf(Field::onboardingFinished)).value_or(false);
  autoPaste_ = defaults_.boolean(keyOf(Field::autoPaste)).value_or(true);

  // Written back when derived, so the older key is read at most once after an upgrade; a stored
  // value that does not parse stays as it is until the user chooses again.
  microphoneSelection_ = loadSelection(defaults_);
  if (!defaults_.contains(keyOf(Field::microphoneSelection))) write(Field::microphoneSelection);

  if (auto data = defaults_.data(keyOf(Field::microphoneStartupHistory))) {
    startupHistory_ = MicrophoneStartupHistory::decode(*data).value_or(MicrophoneStartupHistory{});
  }

  // Nothing has warmed an engine in this process yet; the stored value belongs to the program's
  // launch (resetUseDictationEngineForLaunch).
  useDictationEngine_ = false;

  developerToolsVocabularyEnabled_ =
      defaults_.boolean(keyOf(Field::developerToolsVocabularyEnabled)).value_or(false);

  betaUpload_ = defaults_.boolean(keyOf(Field::betaUpload)).value_or(true);
  write(Field::betaUpload);
  openAtLogin_ = defaults_.boolean(keyOf(Field::openAtLogin)).value_or(true);
  write(Field::openAtLogin);

  // Read, not written back: "auto" stays a choice the user never made.
  auto storedEngine = defaults_.string(keyOf(Field::speechEngine));
  speechEngine_ = (storedEngine ? parseSpeechEngineChoice(*storedEngine) : std::nullopt)
                      .value_or(SpeechEngineChoice::automatic);

  terminalWindowClasses_ = defaults_.stringList(keyOf(Field::terminalWindowClasses)).value_or(StringList{});

  auto storedID = defaults_.string(keyOf(Field::deviceID));
  if (storedID && !storedID->empty()) {
    deviceID_ = *storedID;
  } else {
    deviceID_ = makeUuid();
    write(Field::deviceID);
  }
}

void AppSettings::write(Field field) {
  std::string_view key = keyOf(field);
  switch (field) {
    case Field::cleanupLevel:
      lastWrite_ = defaults_.setString(key, std::string(rawValue(cleanupLevel_)));
      break;
    case Field::hotkey: lastWrite_ = defaults_.setString(key, std::string(rawValue(hotkey_))); break;
    case Field::recordingMode:
      lastWrite_ = defaults_.setString(key, std::string(rawValue(recordingMode_)));
      break;
    case Field::onboardingComplete: lastWrite_ = defaults_.setBool(key, onboardingComplete_); break;
    case Field::onboardingFinished: lastWrite_ = defaults_.setBool(key, onboardingFinished_); break;
    case Field::autoPaste: lastWrite_ = defaults_.setBool(key, autoPaste_); break;
    case Field::useDictationEngine: lastWrite_ = defaults_.setBool(key, useDictationEngine_); break;
    case Field::developerToolsVocabularyEnabled:
      lastWrite_ = defaults_.setBool(key, developerToolsVocabularyEnabled_);
      break;
    case Field::betaUpload: lastWrite_ = defaults_.setBool(key, betaUpload_); break;
    case Field::openAtLogin: lastWrite_ = defaults_.setBool(key, openAtLogin_); break;
    case Field::microphoneSelection:
      lastWrite_ = defaults_.setString(key, microphoneSelection_.storedString());
      break;
    case Field::microphoneStartupHistory:
      lastWrite_ = defaults_.setData(key, startupHistory_.encode());
      break;
    case Field::deviceID: lastWrite_ = defaults_.setString(key, deviceID_); break;
    case Field::speechEngine:
      lastWrite_ = defaults_.setString(key, std::string(rawValue(speechEngine_)));
      break;
    case Field::terminalWindowClasses:
      lastWrite_ = defaults_.setStringList(key, terminalWindowClasses_);
      break;
  }
}

template <typename T>
void AppSettings::assign(T& member, T value, Field field) {
  bool changed = !(member == value);
  member = std::move(value);
  write(field);
  if (!changed) return;
  // Copy first: an observer may add or remove observers.
  std::vector<Observer> toCall;
  for (const auto& [id, observer] : observers_) toCall.push_back(observer);
  for (const auto& observer : toCall) observer(field);
}

void AppSettings::setCleanupLevel(CleanupLevel value) { assign(cleanupLevel_, value, Field::cleanupLevel); }
void AppSettings::setHotkey(HotkeyChoice value) { assign(hotkey_, value, Field::hotkey); }
void AppSettings::setRecordingMode(RecordingMode value) {
  assign(recordingMode_, value, Field::recordingMode);
}
void AppSettings::setOnboardingComplete(bool value) {
  assign(onboardingComplete_, value, Field::onboardingComplete);
}
void AppSettings::setOnboardingFinished(bool value) {
  assign(onboardingFinished_, value, Field::onboardingFinished);
}
void AppSettings::setAutoPaste(bool value) { assign(autoPaste_, value, Field::autoPaste); }
void AppSettings::setUseDictationEngine(bool value) {
  assign(useDictationEngine_, value, Field::useDictationEngine);
}
void AppSettings::resetUseDictationEngineForLaunch() {
  useDictationEngine_ = false;
  write(Field::useDictationEngine);
}
void AppSettings::setDeveloperToolsVocabularyEnabled(bool value) {
  assign(developerToolsVocabularyEnabled_, value, Field::developerToolsVocabularyEnabled);
}
void AppSettings::setBetaUpload(bool value) { assign(betaUpload_, value, Field::betaUpload); }
void AppSettings::setOpenAtLogin(bool value) { assign(openAtLogin_, value, Field::openAtLogin); }
void AppSettings::setMicrophoneSelection(MicrophoneSelection value) {
  assign(microphoneSelection_, std::move(value), Field::microphoneSelection);
}
void AppSettings::setMicrophoneStartupHistory(MicrophoneStartupHistory value) {
  assign(startupHistory_, std::move(value), Field::microphoneStartupHistory);
}
void AppSettings::setDeviceID(std::string value) { assign(deviceID_, std::move(value), Field::deviceID); }
void AppSettings::setSpeechEngine(SpeechEngineChoice value) {
  assign(speechEngine_, value, Field::speechEngine);
}
void AppSettings::setTerminalWindowClasses(std::vector<std::string> value) {
  assign(terminalWindowClasses_, std::move(value), Field::terminalWindowClasses);
}

void AppSettings::recordMicrophoneStartup(std::string_view deviceID, std::int64_t ms) {
  MicrophoneStartupHistory updated = startupHistory_;
  if (updated.record(deviceID, ms)) setMicrophoneStartupHistory(std::move(updated));
}

AppSettings::ObserverId AppSettings::addObserver(Observer observer) {
  ObserverId id = ++lastObserverId_;
  observers_.emplace(id, std::move(observer));
  return id;
}

void AppSettings::removeObserver(ObserverId id) { observers_.erase(id); }

}  // namespace murvelo
