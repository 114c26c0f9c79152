#pragma once

#include <functional>
#include <optional>
#include <string>

#include "audio/Recorder.h"
#include "base/MainLoop.h"
#include "base/Result.h"
#include "speech/SpeechService.h"

namespace murvelo {

// Records one read-out phrase with the program's own microphone and speech engine and gives the
// raw text: what the accuracy test scores. Recognition runs from the recorded file, as the
// dictation's fallback does, so the score does not depend on the streaming race. Main thread.
class PhraseRecorder {
 public:
  struct Heard {
    std::optional<std::string> text;
    std::string problem;  // why there is no text
  };

  PhraseRecorder(MainLoop& loop, Recorder& recorder, SpeechService& speech)
      : loop_(loop), recorder_(recorder), speech_(speech) {}
  ~PhraseRecorder();

  // An error text when the microphone did not start.
  Status start();
  // Ends the recording and recognises it; `done` runs on the main loop. Nothing happens when no
  // recording runs.
  void finish(std::function<void(Heard)> done);
  // Drops a running recording.
  void cancel();
  bool recording() const { return recording_; }
  bool busy() const { return recording_ || recognising_; }

 private:
  MainLoop& loop_;
  Recorder& recorder_;
  SpeechService& speech_;
  bool recording_ = false;
  bool recognising_ = false;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace murvelo
