#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "audio/Recorder.h"

namespace murvelo {

// A recorder whose microphone is a recording: each capture plays the same samples into the live
// stream in 20 ms buffers, at the pace of a real microphone or as fast as it can, and keeps them
// for the WAV fallback. What the command line and the benchmarks dictate with.
class FilePlaybackRecorder : public Recorder {
 public:
  static constexpr double kBufferSeconds = 0.02;

  // `onPlayedOut` is called on the playback thread when the last buffer has been delivered.
  FilePlaybackRecorder(std::vector<float> samples, double sampleRate, bool realTime,
                       std::filesystem::path wavDirectory, std::function<void()> onPlayedOut = nullptr);
  ~FilePlaybackRecorder() override;

  Result<std::shared_ptr<LiveBufferStream>, RecorderError> start(std::function<void()> onFirstAudio) override;
  CapturedAudio stop() override;
  void stopSession(bool) override {}
  Result<std::optional<std::filesystem::path>, RecorderError> writeWAV(
      const CapturedAudio& captured) override;
  void invalidate(const std::string&) override {}
  RecorderFacts facts() const override;

  double seconds() const { return static_cast<double>(samples_->size()) / rate_; }

 private:
  void play(std::shared_ptr<LiveBufferStream> live, std::function<void()> onFirstAudio);
  void join();

  std::shared_ptr<const std::vector<float>> samples_;
  double rate_;
  bool realTime_;
  std::filesystem::path wavDirectory_;
  std::function<void()> onPlayedOut_;
  mutable std::mutex mutex_;
  std::vector<AudioBuffer> captured_;
  std::shared_ptr<LiveBufferStream> live_;
  std::atomic<bool> stopping_{false};
  bool recording_ = false;
  std::thread player_;
};

}  // namespace murvelo
