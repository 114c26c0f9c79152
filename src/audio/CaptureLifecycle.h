#pragma once

#include <cstdint>
#include <functional>

namespace murvelo {

// What the controller needs from the recorder beyond start and stop: whether the audio server
// may be used, which capture is the current one, and when a stopped capture has settled.
class CaptureLifecycle {
 public:
  // `generation` is the start generation of the capture whose stop settled; `stopMs` how long
  // the stop took. May be called on any thread.
  using StopSettled = std::function<void(std::int64_t generation, std::int64_t stopMs)>;

  virtual ~CaptureLifecycle() = default;
  virtual bool microphoneAuthorized() const = 0;
  // Rises by one at every capture start.
  virtual std::int64_t captureGeneration() const = 0;
  virtual void setStopSettledHandler(StopSettled handler) = 0;
};

}  // namespace murvelo
