#include "app/PhraseRecorder.h"

#include <system_error>

namespace murvelo {

PhraseRecorder::~PhraseRecorder() {
  *alive_ = false;
  cancel();
}

Status PhraseRecorder::start() {
  if (busy()) return Status::error("a phrase is still being recorded or recognised");
  auto started = recorder_.start([] {});
  if (!started) return Status::error("the microphone did not start");
  recording_ = true;
  return Status::ok();
}

void PhraseRecorder::cancel() {
  if (!recording_) return;
  recording_ = false;
  recorder_.cancel();
  recorder_.stopSession(false);
}

void PhraseRecorder::finish(std::function<void(Heard)> done) {
  if (!recording_) return;
  recording_ = false;
  CapturedAudio captured = recorder_.stop();
  recorder_.stopSession(false);
  auto file = recorder_.writeWAV(captured);
  if (!file) {
    loop_.post([done = std::move(done)] { done(Heard{std::nullopt, "the recording could not be written"}); });
    return;
  }
  if (!file.value()) {
    loop_.post([done = std::move(done)] { done(Heard{std::nullopt, "nothing was heard"}); });
    return;
  }
  recognising_ = true;
  const std::filesystem::path path = *file.value();
  speech_.transcribe(
      path, [this, alive = alive_, path, done = std::move(done)](Result<std::string, SpeechError> text) {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        if (!*alive) return;
        recognising_ = false;
        if (!text) return done(Heard{std::nullopt, "the speech engine could not recognise it"});
        done(Heard{std::move(text.value()), {}});
      });
}

}  // namespace murvelo
