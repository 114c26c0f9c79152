#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "base/Result.h"
#include "base/Status.h"

namespace murvelo {

// One analysis: audio in, results out. Results arrive through the handler given when the session
// was made, each as the recogniser's own text, in order. Calls come from one thread at a time,
// but feed() and finish() may block for as long as the recogniser needs.
class RecognitionSession {
 public:
  virtual ~RecognitionSession() = default;
  // Mono float samples at the recogniser's analysis rate.
  virtual Status feed(std::span<const float> samples) = 0;
  // End of input: flush the last results. The session is spent afterwards.
  virtual Status finish() = 0;
};

// A speech recogniser back-end as the speech engine drives it.
class Recognizer {
 public:
  // Streaming sessions are fed while the talk key is held; file sessions get all the audio at
  // once and may analyse it as one piece.
  enum class Mode { streaming, file };
  using ResultHandler = std::function<void(std::string_view text)>;

  virtual ~Recognizer() = default;
  // A short name for logs: "whisper", "pocketsphinx".
  virtual std::string name() const = 0;
  // The model is present and loaded; loads it at first call. Any thread.
  virtual Status ensureAssets() = 0;
  // The sample rate the analysis wants its mono float input at; 0 when there is none.
  virtual double analysisSampleRate() const = 0;
  // The microphone the streaming sessions hear from now on, by its device ID (empty: a source
  // with no lasting name): what was learned about another one's sound no longer applies. Any
  // thread.
  virtual void useMicrophone(const std::string& /*deviceID*/) {}
  // A new analysis; results go to `onResult`, on the thread that feeds or finishes it.
  virtual Result<std::unique_ptr<RecognitionSession>, std::string> makeSession(Mode mode,
                                                                               ResultHandler onResult) = 0;
};

}  // namespace murvelo
