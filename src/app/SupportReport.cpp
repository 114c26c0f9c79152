#include "app/SupportReport.h"

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <sstream>

#include "app/AppSettings.h"
#include "app/BuildInfo.h"
#include "base/DefaultsStore.h"
#include "cleanup/CorrectionsDictionary.h"
#include "history/HistoryStore.h"
#include "speech/SpeechEngineChoice.h"
#include "speech/WhisperModelChoice.h"

namespace murvelo {
namespace {

std::string utcText(std::chrono::system_clock::time_point time, const char* format) {
  std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char buffer[64];
  std::strftime(buffer, sizeof buffer, format, &parts);
  return buffer;
}

std::string localDate(std::chrono::system_clock::time_point time) {
  std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char buffer[16];
  std::strftime(buffer, sizeof buffer, "%Y-%m-%d", &parts);
  return buffer;
}

// Keeps a value on its own line: a stored value with line breaks must not fake a heading.
std::string oneLine(std::string text) {
  for (char& c : text)
    if (c == '\n' || c == '\r') c = ' ';
  return text;
}

void section(std::ostringstream& out, const char* title) { out << "\n== " << title << " ==\n"; }

void pairs(std::ostringstream& out, const SupportReport::Pairs& list) {
  for (const auto& [key, value] : list) out << key << ": " << oneLine(value) << "\n";
}

}  // namespace

SupportReport::Pairs SupportReport::buildFacts(const std::string& qtVersion) {
  return {{"version", MURVELO_VERSION},
          {"commit", MURVELO_COMMIT},
          {"whisper.cpp", MURVELO_WHISPER_VERSION},
          {"Qt", qtVersion},
          {"compiler", __VERSION__}};
}

const char* SupportReport::qtBuildVersion() { return MURVELO_QT_BUILD_VERSION; }

std::string SupportReport::sessionType(const std::function<const char*(const char*)>& env) {
  auto set = [&](const char* name) {
    const char* value = env(name);
    return value && *value;
  };
  const char* type = env("XDG_SESSION_TYPE");
  std::string said = type && *type ? type : "";
  if (said == "wayland" || (said.empty() && set("WAYLAND_DISPLAY")))
    return set("DISPLAY") ? "wayland (with XWayland)" : "wayland";
  if (said == "x11" || (said.empty() && set("DISPLAY"))) return "x11";
  return said.empty() ? "none (no display)" : said;
}

SupportReport::Pairs SupportReport::settings(const DefaultsStore& defaults) {
  Pairs out;
  for (auto field : AppSettings::kAllFields) {
    const std::string key(AppSettings::keyOf(field));
    auto value = defaults.value(key);
    out.emplace_back(key, value ? DefaultsStore::encode(*value).dump(-1, ' ', false,
                                                                     nlohmann::json::error_handler_t::replace)
                                : "(default)");
  }
  return out;
}

SupportReport::Pairs SupportReport::model(const DefaultsStore& defaults) {
  auto engine = defaults.string(AppSettings::keyOf(AppSettings::Field::speechEngine));
  Pairs out{{"engine setting", engine.value_or("(default)")}};
  auto file = WhisperModelChoice::resolve();
  if (!file) {
    out.emplace_back("whisper model", "none installed in " + WhisperModelChoice::modelsDirectory().string());
  } else {
    std::error_code error;
    auto size = std::filesystem::file_size(*file, error);
    out.emplace_back("whisper model",
                     file->string() + (error ? " (unreadable: " + error.message() + ")"
                                             : " (" + std::to_string(size / 1000000) + " MB)"));
  }
  if (engine == "pocketsphinx")
    out.emplace_back("in use", "pocketsphinx");
  else
    out.emplace_back("in use", file ? "whisper, if the model loads; else pocketsphinx" : "pocketsphinx");
  return out;
}

void SupportReport::readStore(const DefaultsStore& defaults, Facts& facts) {
  facts.settings = settings(defaults);
  facts.model = model(defaults);
  if (auto data = defaults.data(CorrectionsDictionary::kDefaultsKey)) {
    auto entries = CorrectionsDictionary::decode(
        std::string_view(reinterpret_cast<const char*>(data->data()), data->size()));
    facts.corrections = entries ? entries->size() : 0;
  }
  if (auto data = defaults.data(HistoryStore::kKey)) {
    auto items = HistoryStore::decode(*data);
    facts.historyItems = items ? items->size() : 0;
  }
}

std::string SupportReport::render(const Facts& facts) {
  std::ostringstream out;
  out << "Murvelo support report\n"
      << "Written " << utcText(facts.createdAt, "%Y-%m-%d %H:%M:%S UTC") << " by " << facts.program << ".\n"
      << "It holds no dictated words, corrections, audio or clipboard contents.\n";
  section(out, "Build");
  pairs(out, facts.build);
  out << "session: " << facts.sessionType << "\n";

  section(out, "Checks");
  for (const auto& probe : facts.probes)
    out << (probe.ok ? "[ok]   " : "[fail] ") << probe.name << ": " << oneLine(probe.detail) << "\n";

  section(out, "Audio inputs");
  if (!facts.devices) {
    out << "(the audio server did not answer)\n";
  } else if (facts.devices->devices.empty()) {
    out << "(none)\n";
  } else {
    for (const auto& device : facts.devices->devices) {
      out << "- " << oneLine(device.name) << " [" << oneLine(device.id) << "]";
      if (facts.devices->defaultID == device.id) out << " default";
      if (device.isBuiltIn) out << " built-in";
      if (device.isBluetooth) out << " bluetooth";
      if (device.sampleRate > 0) out << " " << static_cast<long>(device.sampleRate) << " Hz";
      out << "\n";
    }
  }

  section(out, "Speech model");
  pairs(out, facts.model);

  section(out, "Settings");
  pairs(out, facts.settings);
  out << "corrections (My Words): " << facts.corrections << " entries, not listed\n"
      << "recent dictations: " << facts.historyItems << ", not listed\n";

  section(out, "Recent events");
  if (!facts.events) {
    out << oneLine(facts.eventsNote) << "\n";
  } else if (facts.events->empty()) {
    out << "(none yet)\n";
  } else {
    for (const auto& event : *facts.events) {
      out << utcText(event.time, "%H:%M:%S") << " " << oneLine(event.category) << " " << oneLine(event.name);
      if (!event.detail.empty()) out << " " << oneLine(event.detail);
      out << "\n";
    }
  }
  return out.str();
}

std::string SupportReport::defaultFileName(std::chrono::system_clock::time_point now) {
  return "murvelo-support-" + localDate(now) + ".txt";
}

}  // namespace murvelo
