// The recogniser back-ends against the real libraries: pocketsphinx on recorded speech with known
// transcripts, whisper on a model with synthetic weights (its words are nonsense, its timing and
// code paths are real).
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <mutex>
#include <random>
#include <thread>

#include "accuracy/WER.h"
#include "audio/AudioConverter.h"
#include "audio/AudioFile.h"
#include "base/ManualLoop.h"
#include "base/ThreadTimer.h"
#include "speech/SpeechEngine.h"
#include "speech/pocketsphinx/PocketSphinxRecognizer.h"
#include "speech/whisper/WhisperRecognizer.h"
#include "support/LibrivoxClips.h"
#include "support/Pump.h"
#include "support/SharedModel.h"
#include "support/SoundFile.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;

using test::Clip;
using test::librivoxClips;

// Plays `samples` (at `rate`) into a streaming session in 20 ms buffers, then finishes it as the
// controller would at key-up. None: the race timed out or no session opened.
std::optional<std::string> stream(SpeechEngine& engine, ManualLoop& loop, const std::vector<float>& samples,
                                  double rate) {
  auto live = std::make_shared<LiveBufferStream>(AudioFormat{rate, 1});
  engine.startStreaming(live);
  auto step = static_cast<std::size_t>(rate / 50);
  for (std::size_t at = 0; at < samples.size(); at += step)
    live->push(std::make_shared<const std::vector<float>>(
        samples.begin() + static_cast<std::ptrdiff_t>(at),
        samples.begin() + static_cast<std::ptrdiff_t>(std::min(samples.size(), at + step))));
  live->finish();
  std::optional<std::optional<std::string>> answer;
  engine.finishStreaming([&](std::optional<std::string> text) { answer = std::move(text); });
  EXPECT_TRUE(test::pumpUntil(
      loop, [&] { return answer.has_value(); }, 30s));
  return answer.value_or(std::nullopt);
}

std::string transcribe(SpeechEngine& engine, ManualLoop& loop, const std::filesystem::path& file) {
  std::optional<Result<std::string, SpeechError>> result;
  engine.transcribe(file, [&](Result<std::string, SpeechError> r) { result = std::move(r); });
  EXPECT_TRUE(test::pumpUntil(
      loop, [&] { return result.has_value(); }, 30s));
  EXPECT_TRUE(result && result->ok());
  return result && result->ok() ? result->value() : std::string("<failed>");
}

class PocketSphinxIntegrationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(test::kLibrivox / "transcription"))
      GTEST_SKIP() << "pocketsphinx-testdata is not installed";
  }
  test::TempDir temp;
  ManualLoop loop;
  ThreadTimer timer;
  std::shared_ptr<Recognizer> recognizer = std::make_shared<PocketSphinxRecognizer>();
  SpeechEngine engine{loop, timer, recognizer, temp.path()};
};

// Bounds: pocketsphinx's general English model gets these clips about 70 % right; audio that is
// resampled wrongly or read with the wrong byte order gets next to nothing right.
constexpr double kMaxClipWER = 0.75;
constexpr double kMaxOverallWER = 0.5;

TEST_F(PocketSphinxIntegrationTest, OtherRatesFormatsAndByteOrdersGiveTheSameWords) {
  auto clip = librivoxClips().at(0);
  auto samples = readAudioFile(clip.file, 16000);
  ASSERT_TRUE(samples.ok());
  double referenceWER = WER::score(clip.transcript, transcribe(engine, loop, clip.file)).errorRate();
  struct Case {
    const char* name;
    int rate;
    int format;
  };
  const Case cases[] = {
      {"44.1 kHz WAV", 44100, SF_FORMAT_WAV | SF_FORMAT_PCM_16},
      {"48 kHz FLAC", 48000, SF_FORMAT_FLAC | SF_FORMAT_PCM_24},
      {"8 kHz float WAV", 8000, SF_FORMAT_WAV | SF_FORMAT_FLOAT},
      {"22.05 kHz big-endian AIFF", 22050, SF_FORMAT_AIFF | SF_FORMAT_PCM_16 | SF_ENDIAN_BIG},
  };
  for (const auto& c : cases) {
    auto converted = convertAll(samples.value(), AudioFormat{16000, 1}, c.rate);
    auto file = temp / "clip.audio";
    ASSERT_TRUE(test::writeSoundFile(file, converted, c.rate, c.format)) << c.name;
    std::string text = transcribe(engine, loop, file);
    // 8 kHz loses the upper half of the spectrum; the others lose nothing audible.
    double bound = c.rate == 8000 ? kMaxClipWER : referenceWER + 0.1;
    EXPECT_LE(WER::score(clip.transcript, text).errorRate(), bound) << c.name << ": " << text;
  }
}

// The file path recognises recorded speech, and the live words are as good as the file's: each
// clip through the file path, then as one dictation through a streaming session fed 20 ms buffers
// of a 48 kHz microphone (untimed, so load cannot lose words).
TEST_F(PocketSphinxIntegrationTest, FilePathRecognisesSpeechAndStreamingCostsNoMoreWords) {
  WER::Result streamed, filed;
  for (const auto& clip : librivoxClips()) {
    auto samples = readAudioFile(clip.file, 48000);
    ASSERT_TRUE(samples.ok());
    std::string text;
    auto session =
        recognizer->makeSession(Recognizer::Mode::streaming, [&](std::string_view t) { text += t; });
    ASSERT_TRUE(session.ok());
    auto converter = AudioConverter::make(AudioFormat{48000, 1}, recognizer->analysisSampleRate());
    std::vector<float> converted;
    for (std::size_t at = 0; at < samples.value().size(); at += 960) {
      converted.clear();
      auto count = std::min<std::size_t>(960, samples.value().size() - at);
      ASSERT_TRUE(converter->convert(std::span<const float>(samples.value().data() + at, count), converted));
      ASSERT_TRUE(session.value()->feed(converted));
    }
    converted.clear();
    converter->flush(converted);
    ASSERT_TRUE(session.value()->feed(converted));
    ASSERT_TRUE(session.value()->finish());
    streamed += WER::score(clip.transcript, text);
    const std::string fromFile = transcribe(engine, loop, clip.file);
    const auto score = WER::score(clip.transcript, fromFile);
    EXPECT_LE(score.errorRate(), kMaxClipWER) << clip.file.filename() << ": " << fromFile;
    filed += score;
  }
  EXPECT_GT(filed.hits, 0);
  EXPECT_LE(filed.errorRate(), kMaxOverallWER);
  EXPECT_LE(streamed.errorRate(), filed.errorRate() + 0.01);
}

// What a streaming session measured of a microphone's sound lets the next one on it decode at
// once, in this launch or a later one (a new recogniser); only a dictation long enough to tell
// teaches it.
TEST_F(PocketSphinxIntegrationTest, StreamingLearnsEachMicrophoneAcrossLaunches) {
  const auto file = temp / "microphones";
  auto launch = [&] {
    auto made =
        std::make_shared<PocketSphinxRecognizer>(PocketSphinxRecognizer::defaultModelDirectory(), file);
    engine.setRecognizer(made);
    return made;
  };
  auto sphinx = launch();
  auto clip = readAudioFile(librivoxClips().at(1).file, PocketSphinxRecognizer::kSampleRate);
  ASSERT_TRUE(clip.ok());
  const std::vector<float> tap(clip.value().begin(), clip.value().begin() + 8000);
  struct Step {
    const char* what;
    bool relaunch;
    const char* microphone;  // named to the engine, if any
    Recognizer::Mode mode;
    const std::vector<float>* audio;  // dictated, if any
    bool knows;
  };
  const Step steps[] = {
      {"a file", false, "usb", Recognizer::Mode::file, &clip.value(), false},
      {"a half-second tap", false, nullptr, Recognizer::Mode::streaming, &tap, false},
      {"a dictation", false, nullptr, Recognizer::Mode::streaming, &clip.value(), true},
      {"a tap after it", false, nullptr, Recognizer::Mode::streaming, &tap, true},
      {"another microphone", false, "headset", Recognizer::Mode::streaming, nullptr, false},
      {"a dictation on it", false, nullptr, Recognizer::Mode::streaming, &clip.value(), true},
      {"relaunched", true, nullptr, Recognizer::Mode::streaming, nullptr, true},
      {"back to the first", false, "usb", Recognizer::Mode::streaming, nullptr, true},
      {"relaunched on one never heard", true, "hdmi", Recognizer::Mode::streaming, nullptr, false},
  };
  for (const auto& step : steps) {
    if (step.relaunch) sphinx = launch();
    if (step.microphone) engine.useMicrophone(step.microphone);
    if (step.audio) {
      auto session = sphinx->makeSession(step.mode, [](std::string_view) {});
      ASSERT_TRUE(session.ok());
      ASSERT_TRUE(session.value()->feed(*step.audio));
      ASSERT_TRUE(session.value()->finish());
    }
    EXPECT_EQ(sphinx->knowsMicrophone(), step.knows) << step.what;
  }
  // A file cut off in the middle of a number is not trusted.
  std::ifstream in(file);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_GT(text.size(), 4u);
  std::ofstream(file) << text.substr(0, text.size() - 3) << "x\n";
  sphinx = launch();
  engine.useMicrophone("usb");
  EXPECT_FALSE(sphinx->knowsMicrophone());
}

class WhisperIntegrationTest : public ::testing::Test {
 protected:
  static std::filesystem::path model() { return test::tinyModel(); }
  const test::TempDir* dir_ = &test::sharedModelDir();
  ManualLoop loop;
  ThreadTimer timer;
};

// Recorded speech with its pauses, fed faster than real time in uneven chunks: the pieces the
// sessions decode cover every sample once, whether cut while the key is held or at the end.
TEST_F(WhisperIntegrationTest, EverySampleReachesExactlyOnePiece) {
  auto whisper = std::make_shared<WhisperRecognizer>(model(), WhisperRecognizer::defaultThreads());
  ASSERT_TRUE(whisper->ensureAssets());
  auto clips = librivoxClips();
  if (clips.size() < 5) GTEST_SKIP() << "pocketsphinx-testdata is not installed";
  std::vector<float> speech;
  for (const auto& clip : clips) {
    auto samples = readAudioFile(clip.file, WhisperRecognizer::kSampleRate);
    ASSERT_TRUE(samples.ok());
    speech.insert(speech.end(), samples.value().begin(), samples.value().end());
  }
  std::mutex mutex;
  std::vector<std::pair<std::size_t, std::size_t>> pieces;
  whisper->setPieceObserver([&](std::size_t start, std::size_t end) {
    std::lock_guard lock(mutex);
    pieces.emplace_back(start, end);
  });
  std::mt19937 random(7);
  std::uniform_int_distribution<std::size_t> chunk(160, 3200);
  // Streaming: 12 s cut at pauses while fed; file: 49 s, longer than one whisper window.
  std::vector<float> twice = speech;
  twice.insert(twice.end(), speech.begin(), speech.end());
  speech.resize(12 * 16000);
  for (auto [mode, audio] :
       {std::pair{Recognizer::Mode::streaming, &speech}, std::pair{Recognizer::Mode::file, &twice}}) {
    const std::vector<float>& input = *audio;
    pieces.clear();
    std::string text;
    auto session = whisper->makeSession(mode, [&](std::string_view t) { text += t; });
    ASSERT_TRUE(session.ok());
    for (std::size_t at = 0; at < input.size();) {
      std::size_t n = std::min(chunk(random), input.size() - at);
      ASSERT_TRUE(session.value()->feed(std::span(input).subspan(at, n)));
      at += n;
      if (mode == Recognizer::Mode::streaming) std::this_thread::sleep_for(2ms);
    }
    ASSERT_TRUE(session.value()->finish());
    std::lock_guard lock(mutex);
    ASSERT_GE(pieces.size(), 2u) << input.size() / 16000 << " s of audio in one piece";
    EXPECT_EQ(pieces.front().first, 0u);
    EXPECT_EQ(pieces.back().second, input.size());
    for (std::size_t i = 1; i < pieces.size(); ++i) EXPECT_EQ(pieces[i].first, pieces[i - 1].second) << i;
  }
  whisper->setPieceObserver(nullptr);
}

TEST_F(WhisperIntegrationTest, NoiseGivesNoText) {
  auto whisper = std::make_shared<WhisperRecognizer>(model(), WhisperRecognizer::defaultThreads());
  SpeechEngine engine(loop, timer, whisper, dir_->path());
  // Silence through the whole program: see the dictate command's test.
  std::mt19937 random(3);
  std::normal_distribution<float> gauss(0, 0.1f);
  std::vector<float> noise(48000 * 2);
  for (auto& s : noise) s = gauss(random);
  EXPECT_EQ(stream(engine, loop, noise, 48000), std::optional<std::string>(""));
  auto file = dir_->path() / "quiet.wav";
  ASSERT_TRUE(writePcm16Wav(file, convertAll(noise, AudioFormat{48000, 1}, 16000), 16000));
  EXPECT_EQ(transcribe(engine, loop, file), "");
}

}  // namespace
}  // namespace murvelo
