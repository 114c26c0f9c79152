#pragma once

#include <optional>
#include <string_view>

#include "hotkey/TalkKey.h"

namespace murvelo {

// How much cleanup a transcript gets. `medium` is the legacy Rewrite choice, migrated to `format`.
enum class CleanupLevel { none, light, format, medium };

// Which recogniser turns speech into text: whisper when a model loads, else pocketsphinx.
enum class SpeechEngineChoice { automatic, whisper, pocketsphinx };

// Raw (stored) values, and parsing of exactly those texts.
std::string_view rawValue(CleanupLevel level);
std::string_view rawValue(SpeechEngineChoice engine);
std::optional<CleanupLevel> parseCleanupLevel(std::string_view raw);
std::optional<SpeechEngineChoice> parseSpeechEngineChoice(std::string_view raw);

}  // namespace murvelo
