#include "speech/SpeechEngineChoice.h"

#include "base/NameTable.h"

namespace murvelo {
namespace {

constexpr NameTable<SpeechEngineChoice, 3> kSpeechEngines{{
    {SpeechEngineChoice::automatic, "auto"},
    {SpeechEngineChoice::whisper, "whisper"},
    {SpeechEngineChoice::pocketsphinx, "pocketsphinx"},
}};

}  // namespace

std::string_view rawValue(SpeechEngineChoice engine) { return nameOf(kSpeechEngines, engine); }
std::optional<SpeechEngineChoice> parseSpeechEngineChoice(std::string_view raw) {
  return parseName(kSpeechEngines, raw);
}

}  // namespace murvelo
