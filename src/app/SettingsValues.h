#pragma once

#include <optional>
#include <string_view>

namespace murvelo {

// How much cleanup a transcript gets. `medium` is the legacy Rewrite choice, migrated to `format`.
enum class CleanupLevel { none, light, format, medium };

// How the talk key drives a recording.
enum class RecordingMode { hold, toggle };

// The talk key.
enum class HotkeyChoice { rightOption, rightCommand, rightControl, fn };

// Raw (stored) values, and parsing of exactly those texts.
std::string_view rawValue(CleanupLevel level);
std::string_view rawValue(RecordingMode mode);
std::string_view rawValue(HotkeyChoice key);
std::optional<CleanupLevel> parseCleanupLevel(std::string_view raw);
std::optional<RecordingMode> parseRecordingMode(std::string_view raw);
std::optional<HotkeyChoice> parseHotkeyChoice(std::string_view raw);

}  // namespace murvelo
