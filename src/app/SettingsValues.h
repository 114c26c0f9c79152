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

// Which recogniser turns speech into text: whisper when a model loads, else pocketsphinx.
enum class SpeechEngineChoice { automatic, whisper, pocketsphinx };

// Raw (stored) values, and parsing of exactly those texts.
std::string_view rawValue(CleanupLevel level);
std::string_view rawValue(RecordingMode mode);
std::string_view rawValue(HotkeyChoice key);
std::string_view rawValue(SpeechEngineChoice engine);
std::optional<CleanupLevel> parseCleanupLevel(std::string_view raw);
std::optional<RecordingMode> parseRecordingMode(std::string_view raw);
std::optional<HotkeyChoice> parseHotkeyChoice(std::string_view raw);
std::optional<SpeechEngineChoice> parseSpeechEngineChoice(std::string_view raw);

}  // namespace murvelo
