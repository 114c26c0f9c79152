#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "speech/SpeechEngineChoice.h"
#include "speech/Recognizer.h"

namespace murvelo {

// The recogniser for a choice of engine. Whisper is used only when its model loads; a model that
// is missing, truncated or not a whisper model is logged with its reason and pocketsphinx is used
// instead, so dictation always has an engine. `model` overrides the installed-model lookup.
std::shared_ptr<Recognizer> makeRecognizer(SpeechEngineChoice choice,
                                           const std::optional<std::filesystem::path>& model = std::nullopt);

}  // namespace murvelo
