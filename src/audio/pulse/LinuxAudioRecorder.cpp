#include "audio/pulse/LinuxAudioRecorder.h"

namespace murvelo {

LinuxAudioRecorder::LinuxAudioRecorder(MainLoop& loop, AudioRecorder::SelectionSource selection,
                                       Options options)
    : session_(options.session), recorder_(loop, session_, std::move(selection), options.recorder) {
  if (options.watchSleep) sleep_ = std::make_unique<LogindSleepWatcher>([this] { session_.systemDidWake(); });
}

}  // namespace murvelo
