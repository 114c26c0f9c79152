#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "audio/CaptureSession.h"
#include "base/Diagnostics.h"

namespace murvelo {

class DefaultsStore;

// The technical report a user saves for support: build facts, what this computer lets the program
// do, the audio inputs, the model, the settings and recent diagnostic events. It is assembled
// here from facts the caller gathered, so the desktop program and murvelo-cli write the same
// report. By construction it holds no dictated word, correction, audio or clipboard content: the
// settings are read by name, and the history and corrections only by count.
struct SupportReport {
  using Pairs = std::vector<std::pair<std::string, std::string>>;

  struct Probe {
    std::string name;
    bool ok = false;
    std::string detail;  // what was seen, and the fix when it failed
  };

  struct Facts {
    std::chrono::system_clock::time_point createdAt;
    std::string program;  // "murvelo" or "murvelo-cli"
    Pairs build;          // version, commit, whisper.cpp, Qt, ...
    std::string sessionType;
    std::vector<Probe> probes;
    std::optional<DeviceList> devices;  // none when the audio server did not answer
    Pairs model;
    Pairs settings;
    std::size_t corrections = 0;
    std::size_t historyItems = 0;
    // None when this process keeps no events; `eventsNote` then says where they are.
    std::optional<std::vector<DiagnosticEvent>> events;
    std::string eventsNote;
  };

  // The build facts this program was compiled with; `qtVersion` is the caller's.
  static Pairs buildFacts(const std::string& qtVersion);
  // The Qt the desktop program was compiled against, for programs without Qt.
  static const char* qtBuildVersion();
  // "x11", "wayland", or what else the environment says; `env` reads a variable.
  static std::string sessionType(const std::function<const char*(const char*)>& env);
  // Every known setting by name: its stored value as JSON, or "(default)".
  static Pairs settings(const DefaultsStore& defaults);
  // The engine setting and the whisper model it would load.
  static Pairs model(const DefaultsStore& defaults);
  // Fills the parts that come from the store: settings, model and the two counts.
  static void readStore(const DefaultsStore& defaults, Facts& facts);

  static std::string render(const Facts& facts);
  // "murvelo-support-2026-11-24.txt"
  static std::string defaultFileName(std::chrono::system_clock::time_point now);
};

}  // namespace murvelo
