#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/CaptureSession.h"
#include "audio/MicrophoneSelection.h"
#include "audio/MicrophoneStartupHistory.h"

namespace murvelo {

// The microphone menu of the settings: the two general choices, every input the server offers,
// and the stored choice even when its device is gone. Each entry carries its startup hint.
struct MicrophoneChoice {
  MicrophoneSelection selection;
  std::string label;
  std::string hint;  // the startup times, or the advice for a disconnected device
  bool present = true;

  bool operator==(const MicrophoneChoice&) const = default;
};

struct MicrophoneChoices {
  std::vector<MicrophoneChoice> entries;
  std::size_t selected = 0;  // index into entries
  std::string note;          // said under the menu; may be empty

  static constexpr const char* kBuiltInLabel = "Built-in microphone (recommended)";
  static constexpr const char* kSystemLabel = "System default input";
  static constexpr const char* kDisconnectedLabel = "Selected microphone (disconnected)";
  static constexpr const char* kDisconnectedAdvice =
      "Reconnect this microphone or choose another to dictate.";
  static constexpr const char* kNoBuiltIn =
      "No built-in mic is available, so dictation uses an available input.";
  static constexpr const char* kNoInputs = "The audio server offers no microphone right now.";
  static constexpr const char* kNoTimes =
      "Startup times appear after use: the median of up to five recent starts on this computer, in "
      "milliseconds (1,000 ms = 1 second). They vary by device and setup.";
};

// The startup hint of one device: its median start, or the explanation while there is none.
std::string startupHint(const MicrophoneStartupHistory& history, const std::string& deviceID);

MicrophoneChoices listMicrophoneChoices(const DeviceList& found, const MicrophoneSelection& selected,
                                        const MicrophoneStartupHistory& history);

}  // namespace murvelo
