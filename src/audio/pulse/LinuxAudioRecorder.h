#pragma once

#include <memory>

#include "audio/AudioRecorder.h"
#include "audio/pulse/LogindSleepWatcher.h"
#include "audio/pulse/PulseCaptureSession.h"

namespace murvelo {

// The recorder as the program uses it on Linux: the core recorder over a PulseAudio session,
// told about every wake from sleep.
class LinuxAudioRecorder {
 public:
  struct Options {
    PulseCaptureSession::Options session;
    AudioRecorder::Options recorder;
    bool watchSleep = true;
  };

  LinuxAudioRecorder(MainLoop& loop, AudioRecorder::SelectionSource selection, Options options);
  LinuxAudioRecorder(MainLoop& loop, AudioRecorder::SelectionSource selection)
      : LinuxAudioRecorder(loop, std::move(selection), Options{}) {}

  AudioRecorder& recorder() { return recorder_; }
  PulseCaptureSession& session() { return session_; }

 private:
  PulseCaptureSession session_;
  AudioRecorder recorder_;
  std::unique_ptr<LogindSleepWatcher> sleep_;  // last: stops before the session goes
};

}  // namespace murvelo
