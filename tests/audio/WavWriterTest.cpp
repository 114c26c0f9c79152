#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <numbers>

#include "audio/AudioFile.h"
#include "audio/WavWriter.h"
#include "base/Uuid.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

// The samples of a file the writer made, read back at its own rate.
std::vector<float> samplesOf(const std::filesystem::path& file) {
  auto samples = readAudioFile(file, 16000);
  EXPECT_TRUE(samples.ok()) << file;
  return samples.ok() ? samples.value() : std::vector<float>{};
}

CapturedAudio captureOf(std::vector<std::size_t> bufferSizes, double rate, float value = 0.1f) {
  CapturedAudio audio;
  audio.format = AudioFormat{rate, 1};
  for (auto size : bufferSizes)
    audio.buffers.push_back(std::make_shared<const std::vector<float>>(size, value));
  return audio;
}

// One second of a 440 Hz tone at half scale, in capture-sized buffers.
CapturedAudio sine(double rate) {
  CapturedAudio audio{{}, AudioFormat{rate, 1}};
  for (std::size_t at = 0; at < static_cast<std::size_t>(rate); at += 1024) {
    auto buffer = std::make_shared<std::vector<float>>();
    for (std::size_t i = at; i < std::min(at + 1024, static_cast<std::size_t>(rate)); ++i)
      buffer->push_back(0.5f * static_cast<float>(std::sin(2 * std::numbers::pi * 440 * i / rate)));
    audio.buffers.push_back(buffer);
  }
  return audio;
}

std::size_t filesIn(const std::filesystem::path& dir) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(dir)) ++count;
  return count;
}

TEST(WavWriterTest, AQuarterSecondOrLessOrNoFormatGivesNoFile) {
  struct Case {
    std::vector<std::size_t> buffers;
    std::optional<double> rate;  // none: no format
    bool file;
  };
  const Case cases[] = {
      {{4000}, 16000, false}, {{2000, 2001}, 16000, true}, {{12000}, 48000, false},
      {{12001}, 48000, true}, {{}, 16000, false},          {{8000}, std::nullopt, false},
  };
  for (const auto& c : cases) {
    test::TempDir dir;
    auto audio = captureOf(c.buffers, c.rate.value_or(16000));
    if (!c.rate) audio.format.reset();
    auto written = writeWAV(audio, dir.path());
    ASSERT_TRUE(written.ok());
    EXPECT_EQ(written.value().has_value(), c.file) << c.rate.value_or(0) << " " << c.buffers.size();
    EXPECT_EQ(filesIn(dir.path()), c.file ? 1u : 0u);
  }
}

TEST(WavWriterTest, WritesA16kMono16BitPrivateFileNamedAfterAUuid) {
  test::TempDir dir;
  auto written = writeWAV(captureOf({8000, 8000}, 16000), dir.path());
  ASSERT_TRUE(written.ok() && written.value());
  auto file = *written.value();
  EXPECT_EQ(file.parent_path(), dir.path());
  std::string name = file.filename().string();
  EXPECT_TRUE(name.starts_with("qlx-") && name.ends_with(".wav") && isUuid(name.substr(4, name.size() - 8)))
      << name;
  EXPECT_EQ(std::filesystem::status(file).permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

  SF_INFO info{};
  sf_close(sf_open(file.c_str(), SFM_READ, &info));
  EXPECT_EQ(std::tuple(info.samplerate, info.channels, info.format, info.frames),
            std::tuple(16000, 1, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000));
}

TEST(WavWriterTest, ConvertsEachRateToOneThird16kFileKeepingTheSignal) {
  for (double rate : {48000.0, 44100.0, 16000.0, 8000.0}) {
    SCOPED_TRACE(rate);
    test::TempDir dir;
    auto written = writeWAV(sine(rate), dir.path());
    ASSERT_TRUE(written.ok() && written.value());
    auto samples = samplesOf(*written.value());
    EXPECT_EQ(samples.size(), 16000u);
    // Level of the tone away from the converter's edges: amplitude / sqrt(2).
    double sum = 0;
    std::size_t from = 2000, to = samples.size() - 2000;
    for (std::size_t i = from; i < to; ++i) sum += samples[i] * samples[i];
    EXPECT_NEAR(std::sqrt(sum / static_cast<double>(to - from)), 0.5 / std::sqrt(2.0), 0.005);
  }
}

TEST(WavWriterTest, LoudSamplesClipInsteadOfWrapping) {
  test::TempDir dir;
  auto written = writeWAV(captureOf({8000}, 16000, 1.5f), dir.path());
  ASSERT_TRUE(written.ok() && written.value());
  auto samples = samplesOf(*written.value());
  ASSERT_FALSE(samples.empty());
  EXPECT_GE(samples[4000], 0.97f);
}

TEST(WavWriterTest, FailuresAreErrorsAndLeaveNoFile) {
  struct Case {
    const char* what;
    CapturedAudio audio;
    bool missingDirectory;
    RecorderError expected;
  };
  CapturedAudio noChannels = captureOf({8000}, 16000);
  noChannels.format->channels = 0;
  const Case cases[] = {
      {"zero rate", captureOf({8000}, 0), false, RecorderError::conversionFailed},
      {"no channels", noChannels, false, RecorderError::couldNotBuildBuffer},
      {"missing directory", captureOf({8000}, 16000), true, RecorderError::fileError},
  };
  for (const auto& c : cases) {
    test::TempDir dir;
    auto target = c.missingDirectory ? dir / "gone" : dir.path();
    auto written = writeWAV(c.audio, target);
    ASSERT_FALSE(written.ok()) << c.what;
    EXPECT_EQ(written.error(), c.expected) << c.what;
    EXPECT_EQ(filesIn(dir.path()), 0u) << c.what;
  }
}

}  // namespace
}  // namespace murvelo
