#include "speech/engines/RecognizerFactory.h"

#include "base/Log.h"
#include "speech/WhisperModelChoice.h"
#include "speech/pocketsphinx/PocketSphinxRecognizer.h"
#include "speech/whisper/WhisperRecognizer.h"

namespace murvelo {
namespace {

const Logger kLog("speech");

}  // namespace

std::shared_ptr<Recognizer> makeRecognizer(SpeechEngineChoice choice,
                                           const std::optional<std::filesystem::path>& model,
                                           const std::filesystem::path& microphoneFile) {
  auto sphinx = [&] {
    return std::make_shared<PocketSphinxRecognizer>(PocketSphinxRecognizer::defaultModelDirectory(),
                                                    microphoneFile);
  };
  if (choice == SpeechEngineChoice::pocketsphinx) return sphinx();
  auto file = model ? model : WhisperModelChoice::resolve();
  if (!file) {
    std::string where = WhisperModelChoice::modelsDirectory().string();
    if (choice == SpeechEngineChoice::whisper)
      kLog.error("no whisper model in " + where + " — using pocketsphinx");
    else
      kLog.info("no whisper model in " + where + " — using pocketsphinx");
    return sphinx();
  }
  auto whisper = std::make_shared<WhisperRecognizer>(*file, WhisperRecognizer::defaultThreads());
  if (Status status = whisper->ensureAssets(); !status) {
    kLog.error("whisper model unusable (" + status.message() + ") — using pocketsphinx");
    return sphinx();
  }
  return whisper;
}

}  // namespace murvelo
