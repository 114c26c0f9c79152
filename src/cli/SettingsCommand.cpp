#include <functional>

#include "app/AppSettings.h"
#include "base/DefaultsStore.h"
#include "base/Utf8.h"
#include "base/TextTrim.h"
#include "base/Uuid.h"
#include "cli/Commands.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli settings                 print every setting as one JSON object\n"
    "       murvelo-cli settings set KEY VALUE   change one setting\n"
    "Keys and values:\n"
    "  cleanupLevel                     none | light | format\n"
    "  hotkey                           rightOption | rightCommand | rightControl | fn\n"
    "  recordingMode                    hold | toggle\n"
    "  onboardingComplete, onboardingFinished, autoPaste, useDictationEngine,\n"
    "  developerToolsVocabularyEnabled, betaUpload, openAtLogin\n"
    "                                   true | false\n"
    "  dictationMicrophoneSelection     built-in | system | device:ID\n"
    "  microphoneStartupHistory         {\"samples\":{\"ID\":[ms,...]}}\n"
    "  deviceID                         a UUID\n"
    "  speechEngine                     auto | whisper | pocketsphinx\n"
    "  terminalWindowClasses            window classes that get Ctrl+Shift+V, comma-separated\n";

using Field = AppSettings::Field;

nlohmann::ordered_json toJson(const AppSettings& settings) {
  nlohmann::ordered_json json;
  for (Field field : AppSettings::kAllFields) {
    std::string key(AppSettings::keyOf(field));
    switch (field) {
      case Field::cleanupLevel: json[key] = rawValue(settings.cleanupLevel()); break;
      case Field::hotkey: json[key] = rawValue(settings.hotkey()); break;
      case Field::recordingMode: json[key] = rawValue(settings.recordingMode()); break;
      case Field::onboardingComplete: json[key] = settings.onboardingComplete(); break;
      case Field::onboardingFinished: json[key] = settings.onboardingFinished(); break;
      case Field::autoPaste: json[key] = settings.autoPaste(); break;
      case Field::useDictationEngine: json[key] = settings.useDictationEngine(); break;
      case Field::developerToolsVocabularyEnabled:
        json[key] = settings.developerToolsVocabularyEnabled();
        break;
      case Field::betaUpload: json[key] = settings.betaUpload(); break;
      case Field::openAtLogin: json[key] = settings.openAtLogin(); break;
      case Field::microphoneSelection: json[key] = settings.microphoneSelection().storedString(); break;
      case Field::microphoneStartupHistory:
        json[key] = nlohmann::ordered_json{{"samples", settings.microphoneStartupHistory().samples}};
        break;
      case Field::deviceID: json[key] = settings.deviceID(); break;
      case Field::speechEngine: json[key] = rawValue(settings.speechEngine()); break;
      case Field::terminalWindowClasses: json[key] = settings.terminalWindowClasses(); break;
    }
  }
  return json;
}

std::optional<bool> parseBool(const std::string& text) {
  if (text == "true") return true;
  if (text == "false") return false;
  return std::nullopt;
}

// Applies `value` to the field stored under `key`; on an invalid value returns a message and
// changes nothing.
std::optional<std::string> assign(AppSettings& settings, const std::string& key, const std::string& value) {
  std::optional<Field> field;
  for (Field candidate : AppSettings::kAllFields) {
    if (AppSettings::keyOf(candidate) == key) field = candidate;
  }
  if (!field) return "unknown setting \"" + key + "\"";
  if (!isValidUtf8(value)) return "the value for " + key + " is not valid UTF-8";
  auto invalid = [&](const std::string& expected) {
    return "invalid value \"" + value + "\" for " + key + " (expected " + expected + ")";
  };
  auto setBool = [&](void (AppSettings::*setter)(bool)) -> std::optional<std::string> {
    auto parsed = parseBool(value);
    if (!parsed) return invalid("true or false");
    (settings.*setter)(*parsed);
    return std::nullopt;
  };

  switch (*field) {
    case Field::cleanupLevel: {
      auto level = parseCleanupLevel(value);
      // "medium" is a legacy value that only old settings files hold.
      if (!level || *level == CleanupLevel::medium) return invalid("none, light or format");
      settings.setCleanupLevel(*level);
      return std::nullopt;
    }
    case Field::hotkey: {
      auto key = parseHotkeyChoice(value);
      if (!key) return invalid("rightOption, rightCommand, rightControl or fn");
      settings.setHotkey(*key);
      return std::nullopt;
    }
    case Field::recordingMode: {
      auto mode = parseRecordingMode(value);
      if (!mode) return invalid("hold or toggle");
      settings.setRecordingMode(*mode);
      return std::nullopt;
    }
    case Field::onboardingComplete: return setBool(&AppSettings::setOnboardingComplete);
    case Field::onboardingFinished: return setBool(&AppSettings::setOnboardingFinished);
    case Field::autoPaste: return setBool(&AppSettings::setAutoPaste);
    case Field::useDictationEngine: return setBool(&AppSettings::setUseDictationEngine);
    case Field::developerToolsVocabularyEnabled:
      return setBool(&AppSettings::setDeveloperToolsVocabularyEnabled);
    case Field::betaUpload: return setBool(&AppSettings::setBetaUpload);
    case Field::openAtLogin: return setBool(&AppSettings::setOpenAtLogin);
    case Field::microphoneSelection: {
      auto selection = MicrophoneSelection::fromStoredString(value);
      if (!selection) return invalid("built-in, system or device:ID");
      settings.setMicrophoneSelection(*selection);
      return std::nullopt;
    }
    case Field::microphoneStartupHistory: {
      auto history = MicrophoneStartupHistory::decode(Bytes(value.begin(), value.end()));
      if (!history) return invalid("{\"samples\":{\"ID\":[ms,...]}}");
      settings.setMicrophoneStartupHistory(*history);
      return std::nullopt;
    }
    case Field::deviceID:
      if (!isUuid(value)) return invalid("a UUID");
      settings.setDeviceID(value);
      return std::nullopt;
    case Field::speechEngine: {
      auto engine = parseSpeechEngineChoice(value);
      if (!engine) return invalid("auto, whisper or pocketsphinx");
      settings.setSpeechEngine(*engine);
      return std::nullopt;
    }
    case Field::terminalWindowClasses: {
      std::vector<std::string> classes;
      std::size_t start = 0;
      while (start <= value.size()) {
        std::size_t end = std::min(value.find(',', start), value.size());
        std::string name = trimWhitespaceAndNewlines(value.substr(start, end - start));
        if (!name.empty()) classes.push_back(std::move(name));
        start = end + 1;
      }
      settings.setTerminalWindowClasses(std::move(classes));
      return std::nullopt;
    }
  }
  return "unknown setting \"" + key + "\"";
}

}  // namespace

int runSettings(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({}, kUsage, exitCode);
  if (!args) return exitCode;
  const auto& words = args->positionals();
  bool isSet = !words.empty() && words[0] == "set";
  if (!(words.empty() || (isSet && words.size() == 3))) {
    return context.usageError(isSet ? "settings set needs KEY and VALUE" : "unknown arguments", kUsage);
  }

  if (isSet) {
    // Validate on a scratch store first, so a refused value writes nothing at all.
    InMemoryDefaultsStore scratch;
    AppSettings trial(scratch);
    if (auto error = assign(trial, words[1], words[2])) return context.usageError(*error, kUsage);
  }
  AppSettings settings(context.defaults());
  if (isSet) {
    assign(settings, words[1], words[2]);
    if (!settings.lastWrite()) return context.failure(settings.lastWrite().message());
  }
  context.printJson(toJson(settings));
  return kSuccess;
}

}  // namespace murvelo::cli
