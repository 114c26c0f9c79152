#pragma once

#include <optional>
#include <string_view>

#include "cleanup/CleanupLevel.h"
#include "speech/SpeechEngineChoice.h"

namespace murvelo {

// How the talk key drives a recording.
enum class RecordingMode { hold, toggle };

// The talk key.
enum class HotkeyChoice { rightOption, rightCommand, rightControl, fn };

// Raw (stored) values, and parsing of exactly those texts.
std::string_view rawValue(RecordingMode mode);
std::string_view rawValue(HotkeyChoice key);
std::optional<RecordingMode> parseRecordingMode(std::string_view raw);
std::optional<HotkeyChoice> parseHotkeyChoice(std::string_view raw);

}  // namespace murvelo
