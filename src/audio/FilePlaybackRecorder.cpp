#include "audio/FilePlaybackRecorder.h"

#include <chrono>

#include "audio/WavWriter.h"

namespace murvelo {

FilePlaybackRecorder::FilePlaybackRecorder(std::vector<float> samples, double sampleRate, bool realTime,
                                           std::filesystem::path wavDirectory,
                                           std::function<void()> onPlayedOut)
    : samples_(std::make_shared<const std::vector<float>>(std::move(samples))),
      rate_(sampleRate),
      realTime_(realTime),
      wavDirectory_(std::move(wavDirectory)),
      onPlayedOut_(std::move(onPlayedOut)) {}

FilePlaybackRecorder::~FilePlaybackRecorder() {
  stopping_ = true;
  join();
}

void FilePlaybackRecorder::join() {
  if (player_.joinable()) player_.join();
}

Result<std::shared_ptr<LiveBufferStream>, RecorderError> FilePlaybackRecorder::start(
    std::function<void()> onFirstAudio) {
  stopping_ = true;
  join();
  stopping_ = false;
  auto live = std::make_shared<LiveBufferStream>(AudioFormat{rate_, 1});
  {
    std::lock_guard lock(mutex_);
    captured_.clear();
    live_ = live;
    recording_ = true;
  }
  player_ = std::thread([this, live, onFirstAudio = std::move(onFirstAudio)] { play(live, onFirstAudio); });
  return live;
}

void FilePlaybackRecorder::play(std::shared_ptr<LiveBufferStream> live, std::function<void()> onFirstAudio) {
  auto step = std::max<std::size_t>(static_cast<std::size_t>(rate_ * kBufferSeconds), 1);
  auto started = std::chrono::steady_clock::now();
  std::size_t index = 0;
  for (std::size_t at = 0; at < samples_->size() && !stopping_; at += step, ++index) {
    if (realTime_)
      std::this_thread::sleep_until(started + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                  std::chrono::duration<double>(index * kBufferSeconds)));
    auto end = std::min(samples_->size(), at + step);
    AudioBuffer buffer =
        std::make_shared<const std::vector<float>>(samples_->begin() + static_cast<std::ptrdiff_t>(at),
                                                   samples_->begin() + static_cast<std::ptrdiff_t>(end));
    {
      std::lock_guard lock(mutex_);
      if (!recording_) return;
      captured_.push_back(buffer);
    }
    live->push(buffer);
    if (index == 0 && onFirstAudio) onFirstAudio();
  }
  if (!stopping_ && onPlayedOut_) onPlayedOut_();
}

CapturedAudio FilePlaybackRecorder::stop() {
  std::shared_ptr<LiveBufferStream> live;
  CapturedAudio audio;
  {
    std::lock_guard lock(mutex_);
    recording_ = false;
    live = std::move(live_);
    audio.buffers = std::move(captured_);
    captured_.clear();
    audio.format = AudioFormat{rate_, 1};
  }
  stopping_ = true;
  if (live) live->finish();
  return audio;
}

Result<std::optional<std::filesystem::path>, RecorderError> FilePlaybackRecorder::writeWAV(
    const CapturedAudio& captured) {
  return murvelo::writeWAV(captured, wavDirectory_);
}

RecorderFacts FilePlaybackRecorder::facts() const {
  RecorderFacts facts;
  facts.deviceName = "audio file";
  facts.deviceID = "file";
  std::lock_guard lock(mutex_);
  facts.isRecording = recording_;
  return facts;
}

}  // namespace murvelo
