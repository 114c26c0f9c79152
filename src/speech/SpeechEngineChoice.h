#pragma once

#include <optional>
#include <string_view>

namespace murvelo {

// Which recogniser turns speech into text: whisper when a model loads, else pocketsphinx.
enum class SpeechEngineChoice { automatic, whisper, pocketsphinx };

// The stored name, and parsing of exactly those names.
std::string_view rawValue(SpeechEngineChoice engine);
std::optional<SpeechEngineChoice> parseSpeechEngineChoice(std::string_view raw);

}  // namespace murvelo
