#include "app/AppEnvironment.h"

namespace murvelo {

AppEnvironment::AppEnvironment(AppBackends backends)
    : settings_(backends.defaults),
      history_(backends.defaults),
      corrections_(backends.defaults),
      cleanup_(&format_, corrections_) {
  SpeechService* speech = backends.speech;
  if (!speech) {
    engine_ = std::make_unique<SpeechEngine>(backends.loop, backends.timer, std::move(backends.recognizer),
                                             backends.tempDir);
    speech = engine_.get();
  }
  controller_ = std::make_unique<DictationController>(
      DictationServices{backends.loop, backends.recorder, *speech, backends.cursor, backends.inserter,
                        backends.cleaner ? *backends.cleaner : cleanup_, history_, settings_,
                        backends.defaults, backends.capture});
}

}  // namespace murvelo
