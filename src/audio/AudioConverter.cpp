#include "audio/AudioConverter.h"

#include <soxr.h>

#include <cmath>

namespace murvelo {

std::unique_ptr<AudioConverter> AudioConverter::make(const AudioFormat& from, double toSampleRate) {
  if (!(from.sampleRate > 0) || !(toSampleRate > 0) || !std::isfinite(from.sampleRate) ||
      !std::isfinite(toSampleRate) || from.channels < 1)
    return nullptr;
  double ratio = toSampleRate / from.sampleRate;
  void* resampler = nullptr;
  if (from.sampleRate != toSampleRate) {
    soxr_error_t error = nullptr;
    soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    resampler = soxr_create(from.sampleRate, toSampleRate, 1, &error, &io, &quality, nullptr);
    if (error || !resampler) return nullptr;
  }
  return std::unique_ptr<AudioConverter>(new AudioConverter(from.channels, ratio, resampler));
}

AudioConverter::AudioConverter(int channels, double ratio, void* resampler)
    : channels_(channels), ratio_(ratio), resampler_(resampler) {}

AudioConverter::~AudioConverter() {
  if (resampler_) soxr_delete(static_cast<soxr_t>(resampler_));
}

bool AudioConverter::convert(std::span<const float> input, std::vector<float>& out) {
  const float* samples = input.data();
  std::size_t frames = input.size() / static_cast<std::size_t>(channels_);
  if (channels_ > 1) {
    mono_.assign(frames, 0.0f);
    for (std::size_t i = 0; i < frames; ++i) {
      float sum = 0;
      for (int c = 0; c < channels_; ++c) sum += input[i * channels_ + c];
      mono_[i] = sum / static_cast<float>(channels_);
    }
    samples = mono_.data();
  }
  if (!resampler_) {
    out.insert(out.end(), samples, samples + frames);
    return true;
  }
  return process(samples, frames, out);
}

bool AudioConverter::flush(std::vector<float>& out) {
  if (!resampler_) return true;
  return process(nullptr, 0, out);
}

bool AudioConverter::process(const float* input, std::size_t frames, std::vector<float>& out) {
  auto resampler = static_cast<soxr_t>(resampler_);
  // Room for this buffer's share plus what the filter may still be holding.
  std::size_t capacity = static_cast<std::size_t>(std::floor(static_cast<double>(frames) * ratio_)) + 1024;
  std::size_t start = out.size();
  std::size_t used = 0;
  std::size_t consumed = 0;
  while (true) {
    out.resize(start + used + capacity);
    std::size_t inputDone = 0;
    std::size_t outputDone = 0;
    soxr_error_t error =
        soxr_process(resampler, input ? input + consumed : nullptr, input ? frames - consumed : 0, &inputDone,
                     out.data() + start + used, capacity, &outputDone);
    if (error) {
      out.resize(start);
      return false;
    }
    consumed += inputDone;
    used += outputDone;
    // A flush is done once the resampler gives back less than it could; input once consumed.
    bool more = input ? consumed < frames || outputDone == capacity : outputDone == capacity;
    if (!more) break;
  }
  out.resize(start + used);
  return true;
}

std::vector<float> convertAll(std::span<const float> samples, const AudioFormat& from, double toSampleRate) {
  std::vector<float> out;
  auto converter = AudioConverter::make(from, toSampleRate);
  if (!converter) return out;
  out.reserve(static_cast<std::size_t>(static_cast<double>(samples.size()) * converter->ratio()) + 1024);
  if (!converter->convert(samples, out) || !converter->flush(out)) out.clear();
  return out;
}

}  // namespace murvelo
