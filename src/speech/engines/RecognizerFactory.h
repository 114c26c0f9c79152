#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "speech/Recognizer.h"
#include "speech/SpeechEngineChoice.h"

namespace murvelo {

// The recogniser for a choice of engine. Whisper is used only when its model loads; a model that
// is missing, truncated or not a whisper model is logged with its reason and pocketsphinx is used
// instead, so dictation always has an engine. `model` overrides the installed-model lookup;
// `microphoneFile` is where pocketsphinx keeps what it learns about each microphone (none: nowhere).
std::shared_ptr<Recognizer> makeRecognizer(SpeechEngineChoice choice,
                                           const std::optional<std::filesystem::path>& model = std::nullopt,
                                           const std::filesystem::path& microphoneFile = {});

}  // namespace murvelo
