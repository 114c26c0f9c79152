#include "speech/engines/RecognizerFactory.h"

#include "base/Log.h"
#include "speech/pocketsphinx/PocketSphinxRecognizer.h"
#include "speech/WhisperModelChoice.h"
#include "speech/whisper/WhisperRecognizer.h"

namespace murvelo {
namespace {

const Logger kLog("speech");

}  // namespace

std::shared_ptr<Recognizer> makeRecognizer(SpeechEngineChoice choice,
                                           const std::optional<std::filesystem::path>& model) {
  if (choice == SpeechEngineChoice::pocketsphinx) return std::make_shared<PocketSphinxRecognizer>();
  auto file = model ? model : WhisperModelChoice::resolve();
  if (!file) {
    std::string where = WhisperModelChoice::modelsDirectory().string();
    if (choice == SpeechEngineChoice::whisper)
      kLog.error("no whisper model in " + where + " — using pocketsphinx");
    else
      kLog.info("no whisper model in " + where + " — using pocketsphinx");
    return std::make_shared<PocketSphinxRecognizer>();
  }
  auto whisper = std::make_shared<WhisperRecognizer>(*file, WhisperRecognizer::defaultThreads());
  if (Status status = whisper->ensureAssets(); !status) {
    kLog.error("whisper model unusable (" + status.message() + ") — using pocketsphinx");
    return std::make_shared<PocketSphinxRecognizer>();
  }
  return whisper;
}

}  // namespace murvelo
