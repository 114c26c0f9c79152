#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

#include "audio/AudioFile.h"
#include "speech/SpeechActivity.h"
#include "speech/WhisperModelChoice.h"
#include "speech/WhisperModelFile.h"
#include "support/PcmWav.h"
#include "support/SharedModel.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

TEST(WhisperModelChoiceTest, EnglishModelsFirstAndBaseEnPreferred) {
  // The files present, and the one chosen (empty: none).
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"ggml-tiny.en.bin", "ggml-base.en.bin", "ggml-small.en.bin"}, "ggml-base.en.bin"},
      {{"ggml-base.bin", "ggml-tiny.en.bin"}, "ggml-tiny.en.bin"},
      {{"ggml-small.en.bin", "ggml-medium.en.bin", "ggml-tiny.en.bin"}, "ggml-small.en.bin"},
      {{"ggml-base.en-q5_1.bin", "ggml-base.en.bin"}, "ggml-base.en.bin"},
      {{"ggml-base.en-q5_1.bin", "ggml-small.en.bin"}, "ggml-base.en-q5_1.bin"},
      {{"ggml-large-v3.bin", "ggml-base.bin"}, "ggml-base.bin"},
      {{"notes.txt", "ggml-.bin", "base.en.bin", "ggml-base.en.bin.partial"}, ""},
  };
  for (const auto& [names, expected] : cases) {
    auto chosen = WhisperModelChoice::choose(std::vector<std::filesystem::path>(names.begin(), names.end()));
    EXPECT_EQ(chosen ? chosen->string() : "", expected) << ::testing::PrintToString(names);
  }
}

TEST(WhisperModelChoiceTest, NamesAndLanguage) {
  EXPECT_EQ(WhisperModelChoice::modelName("/m/ggml-base.en.bin"), std::optional<std::string>("base.en"));
  EXPECT_EQ(WhisperModelChoice::modelName("/m/ggml-base.en.bin.partial"), std::nullopt);
  EXPECT_TRUE(WhisperModelChoice::isEnglishOnly("tiny.en"));
  EXPECT_TRUE(WhisperModelChoice::isEnglishOnly("base.en-q8_0"));
  EXPECT_FALSE(WhisperModelChoice::isEnglishOnly("large-v3"));
  EXPECT_FALSE(WhisperModelChoice::isEnglishOnly("base.encoder"));
}

std::vector<float> tone(double seconds, double level, double hz = 300) {
  std::vector<float> out(static_cast<std::size_t>(seconds * 16000));
  for (std::size_t i = 0; i < out.size(); ++i)
    out[i] = static_cast<float>(level * std::sin(2 * M_PI * hz * static_cast<double>(i) / 16000));
  return out;
}

std::vector<float> noise(double seconds, double level) {
  std::mt19937 random(7);
  std::normal_distribution<float> gauss(0, static_cast<float>(level));
  std::vector<float> out(static_cast<std::size_t>(seconds * 16000));
  for (auto& s : out) s = gauss(random);
  return out;
}

// Syllable-like bursts: 150 ms of tone, 100 ms of near silence, over a faint noise floor.
std::vector<float> syllables(double seconds, double level) {
  auto out = noise(seconds, 0.001);
  auto voiced = tone(seconds, level, 180);
  for (std::size_t i = 0; i < out.size(); ++i)
    if ((i / 16) % 250 < 150) out[i] += voiced[i];
  return out;
}

TEST(SpeechActivityTest, SilenceAndSteadyNoiseAreNotSpeech) {
  struct Case {
    const char* name;
    std::vector<float> samples;
    bool speech;
  };
  const std::vector<Case> cases = {
      {"digital silence", std::vector<float>(32000, 0.0f), false},
      {"faint hiss", noise(2, 0.0005), false},
      {"loud white noise", noise(2, 0.2), false},
      {"steady hum", tone(2, 0.3, 50), false},
      {"too short", syllables(0.01, 0.3), false},
      {"syllables", syllables(2, 0.3), true},
      {"quiet syllables", syllables(2, 0.02), true},
  };
  for (const auto& c : cases) EXPECT_EQ(SpeechActivity::hasSpeech(c.samples, 16000), c.speech) << c.name;
}

class WhisperModelFileTest : public ::testing::Test {
 protected:
  static std::filesystem::path model() { return test::tinyModel(); }
  const test::TempDir* dir_ = &test::sharedModelDir();
};

TEST_F(WhisperModelFileTest, SyntheticModelHasTheRealShape) {
  auto info = inspectWhisperModel(model());
  ASSERT_TRUE(info.ok()) << info.error();
  EXPECT_EQ(info.value().size(), "tiny");
  EXPECT_FALSE(info.value().multilingual());
  EXPECT_EQ(info.value().state, 384);
  EXPECT_EQ(info.value().tensors, 11 + 15 * 4 + 24 * 4);
}

// A tiny.en header with the given fields changed, mel filters, no words and one tensor header.
std::string craftedModel(std::map<int, std::int32_t> fields, std::vector<std::int32_t> extents) {
  std::vector<std::int32_t> header = {0x67676d6c, 51864, 1500, 384, 6, 4, 448, 384, 6, 4, 80, 1, 80, 201};
  for (const auto& [index, value] : fields) header[static_cast<std::size_t>(index)] = value;
  std::string out(reinterpret_cast<const char*>(header.data()), header.size() * 4);
  out += std::string(80 * 201 * 4, '\0');
  // No words, then one tensor header: dimensions, name length, type f32, extents.
  std::vector<std::int32_t> rest = {0, static_cast<std::int32_t>(extents.size()), 4, 0};
  rest.insert(rest.end(), extents.begin(), extents.end());
  out.append(reinterpret_cast<const char*>(rest.data()), rest.size() * 4);
  out += "name";
  out += std::string(4096, '\x01');
  return out;
}

TEST_F(WhisperModelFileTest, DamagedOrCraftedFilesAreRefusedWithAReasonWithoutLoopingOrReachingWhisper) {
  const auto whole = std::filesystem::file_size(model());
  const std::int32_t big = 0x7fffffff;
  struct Case {
    const char* name;
    std::uintmax_t keep;  // bytes of the real model kept; 0 = the contents
    std::string contents;
    std::string reason;
    std::filesystem::path file = {};  // instead of a written file
  };
  const Case cases[] = {
      {"header only", 20, {}, "truncated"},
      {"cut in a tensor", whole / 2, {}, "truncated"},
      {"last byte missing", whole - 1, {}, "truncated"},
      {"text file", 0, "this is not a model\n", "not a whisper model"},
      {"ggml magic, nonsense after", 0, std::string("lmgg") + std::string(64, '\x7f'), "not a whisper model"},
      {"extents whose product overflows", 0, craftedModel({}, {big, big, big, big}), "bad tensor shape"},
      {"one attention-head count changed", 0, craftedModel({{8, 7}}, {1}), "architecture"},
      {"unknown file type", 0, craftedModel({{11, 5}}, {1}), "weight format"},
      {"mel filters of another size", 0, craftedModel({{12, 81}}, {1}), "mel filters"},
      {"missing", 0, {}, "not found", *dir_ / "ggml-none.bin"},
      {"a folder", 0, {}, "is a folder", dir_->path()},
  };
  for (const auto& c : cases) {
    auto file = c.file.empty() ? *dir_ / "damaged.bin" : c.file;
    if (c.keep) {
      std::filesystem::copy_file(model(), file, std::filesystem::copy_options::overwrite_existing);
      std::filesystem::resize_file(file, c.keep);
    } else if (c.file.empty()) {
      test::writeFile(file, c.contents);
    }
    auto info = inspectWhisperModel(file);
    ASSERT_FALSE(info.ok()) << c.name;
    EXPECT_NE(info.error().find(c.reason), std::string::npos) << c.name << ": " << info.error();
  }
}

TEST(AudioFileTest, RatesNoMicrophoneHasAreRefusedAndTheRestConverted) {
  test::TempDir dir;
  struct Case {
    std::int32_t rate;
    std::int16_t channels;
    std::size_t expected;  // samples at 16 kHz; 0: refused
  };
  const Case cases[] = {{1, 1, 0},           {3999, 1, 0},          {800000, 1, 0},          {48000, 65, 0},
                        {8000, 1, 2 * 8000}, {48000, 3, 16000 / 3}, {768000, 1, 200000 / 48}};
  for (const auto& c : cases) {
    const std::int32_t frames = c.rate == 8000 ? 8000 : c.channels == 3 ? 16000 : 200000;
    test::writeFile(dir / "clip.wav", test::pcmWav(c.rate, c.channels, frames, [] { return 0x1000; }));
    auto samples = readAudioFile(dir / "clip.wav", 16000);
    if (c.expected == 0) {
      ASSERT_FALSE(samples.ok()) << c.rate << " Hz";
      EXPECT_NE(samples.error().find("no usable format"), std::string::npos) << samples.error();
    } else {
      ASSERT_TRUE(samples.ok()) << c.rate << " Hz: " << samples.error();
      EXPECT_NEAR(static_cast<double>(samples.value().size()), static_cast<double>(c.expected), 64) << c.rate;
    }
  }
}

}  // namespace
}  // namespace murvelo
