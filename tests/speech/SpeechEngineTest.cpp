#include <gtest/gtest.h>

#include <cmath>

#include "audio/AudioFile.h"
#include "base/ManualLoop.h"
#include "speech/FakeRecognizer.h"
#include "speech/SpeechEngine.h"
#include "support/Pump.h"
#include "support/RecordingLogSink.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;
using test::FakeRecognizer;

constexpr const char* kQuarantined = "streaming finalizer still quarantined — WAV fallback only";
constexpr const char* kTimedOut = "streaming finalize timed out after 3s → WAV fallback";
constexpr const char* kNoConverter = "streaming: no analysis format / converter";

AudioBuffer tone(std::size_t frames, double rate, double hz = 440) {
  auto samples = std::make_shared<std::vector<float>>(frames);
  for (std::size_t i = 0; i < frames; ++i)
    (*samples)[i] = static_cast<float>(0.5 * std::sin(2 * M_PI * hz * static_cast<double>(i) / rate));
  return samples;
}

class SpeechEngineTest : public ::testing::Test {
 protected:
  SpeechEngineTest() { recognizer->scripts = {{{"Hello", " world", "."}}}; }
  ~SpeechEngineTest() override {
    recognizer->release();
    engine.waitUntilIdle(5s);
  }

  // One dictation: a second of capture at `rate`, key-up, and the streaming answer.
  std::optional<std::optional<std::string>> dictate(double rate = 48000) { return dictateOn(engine, rate); }
  std::optional<std::optional<std::string>> dictateOn(SpeechEngine& target, double rate = 48000) {
    auto stream = std::make_shared<LiveBufferStream>(AudioFormat{rate, 1});
    target.startStreaming(stream);
    for (int i = 0; i < 10; ++i) stream->push(tone(static_cast<std::size_t>(rate / 10), rate));
    stream->finish();
    std::optional<std::optional<std::string>> answer;
    target.finishStreaming([&](std::optional<std::string> text) { answer = std::move(text); });
    test::pumpUntil(loop, [&] { return answer.has_value(); });
    return answer;
  }

  // Key-up on a stream whose recogniser hangs: the 3 s limit passes in virtual time.
  std::optional<std::string> dictateIntoHang() {
    auto stream = std::make_shared<LiveBufferStream>(AudioFormat{16000, 1});
    engine.startStreaming(stream);
    stream->push(tone(1600, 16000));
    stream->finish();
    std::optional<std::optional<std::string>> answer;
    engine.finishStreaming([&](std::optional<std::string> text) { answer = std::move(text); });
    // Let the pump reach the hanging finish before the clock moves.
    test::pumpUntil(loop, [&] {
      auto made = recognizer->sessions();
      return !made.empty() && made.back().samples.size() >= 1600;
    });
    loop.advance(3s);
    test::pumpUntil(loop, [&] { return answer.has_value(); });
    EXPECT_TRUE(answer.has_value());
    return answer.value_or(std::string("no answer"));
  }

  test::ScopedLogCapture logs;
  test::TempDir temp;
  ManualLoop loop;
  Timer& timer = loop;
  std::shared_ptr<FakeRecognizer> recognizer = std::make_shared<FakeRecognizer>();
  SpeechEngine engine{loop, timer, recognizer, temp.path()};
};

TEST_F(SpeechEngineTest, StreamedResultsAreJoinedWithoutSeparators) {
  struct Case {
    std::vector<std::string> results;
    std::string text;
  };
  const Case cases[] = {
      {{"Hello", " world", "."}, "Hello world."},
      {{"one", "two"}, "onetwo"},
      {{" Leading", " spaces kept"}, " Leading spaces kept"},
      {{}, ""},
  };
  for (const auto& c : cases) {
    recognizer->scripts = {{c.results}};
    auto answer = dictate();
    ASSERT_TRUE(answer.has_value());
    ASSERT_TRUE(answer->has_value()) << "completed streams answer text, even empty text";
    EXPECT_EQ(**answer, c.text);
    EXPECT_FALSE(engine.streamingSkippedForQuarantine());
  }
}

TEST_F(SpeechEngineTest, LiveBuffersAreConvertedToTheRecognisersRate) {
  struct Case {
    double captureRate;
    double analysisRate;
  };
  for (const auto& c : {Case{48000, 16000}, Case{44100, 16000}, Case{16000, 16000}, Case{8000, 16000}}) {
    recognizer->rate = c.analysisRate;
    std::size_t before = recognizer->sessions().size();
    ASSERT_TRUE(dictate(c.captureRate).has_value());
    auto made = recognizer->sessions();
    ASSERT_EQ(made.size(), before + 1);
    const auto& session = made.back();
    EXPECT_EQ(session.mode, Recognizer::Mode::streaming);
    EXPECT_TRUE(session.finished);
    // One second in, one second out, within the resampler's edges.
    EXPECT_NEAR(static_cast<double>(session.samples.size()), c.analysisRate, 64) << c.captureRate;
    // The signal survives: a 440 Hz tone keeps its level and its crossings.
    double energy = 0;
    int crossings = 0;
    for (std::size_t i = 1000; i + 1000 < session.samples.size(); ++i) {
      energy += session.samples[i] * session.samples[i];
      if ((session.samples[i - 1] < 0) != (session.samples[i] < 0)) ++crossings;
    }
    double seconds = static_cast<double>(session.samples.size() - 2000) / c.analysisRate;
    EXPECT_NEAR(std::sqrt(energy / (seconds * c.analysisRate)), 0.5 / std::sqrt(2.0), 0.02);
    EXPECT_NEAR(crossings / seconds, 880, 10);
  }
}

TEST_F(SpeechEngineTest, HangingAnalysisGivesNothingAfterThreeSecondsAndTheNextDictationIsFileOnly) {
  recognizer->scripts = {{{"never"}, true}, {{"streams again"}}};
  EXPECT_EQ(dictateIntoHang(), std::nullopt);
  EXPECT_TRUE(logs.sink().has(kTimedOut));
  EXPECT_TRUE(engine.finalization().hasQuarantinedFinalizer());

  // The next dictation opens no session and says why.
  std::size_t sessions = recognizer->sessions().size();
  auto answer = dictate();
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(*answer, std::nullopt);
  EXPECT_TRUE(engine.streamingSkippedForQuarantine());
  EXPECT_TRUE(logs.sink().has(kQuarantined));
  EXPECT_EQ(recognizer->sessions().size(), sessions);

  // Once the stuck analysis exits, streaming comes back.
  recognizer->release();
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return !engine.finalization().hasQuarantinedFinalizer(); }));
  answer = dictate();
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(*answer, std::optional<std::string>("streams again"));
  EXPECT_FALSE(engine.streamingSkippedForQuarantine());
}

TEST_F(SpeechEngineTest, FailuresEndTheStreamWithoutTextAndLogTheirReason) {
  struct Case {
    const char* name;
    std::function<void(FakeRecognizer&)> setUp;
    std::optional<std::string> answer;
    std::string log;
  };
  const Case cases[] = {
      {"no analysis format", [](FakeRecognizer& r) { r.rate = 0; }, std::nullopt, kNoConverter},
      {"assets", [](FakeRecognizer& r) { r.assets = Status::error("model missing"); }, std::string(),
       "streaming assets failed: model missing"},
      {"analysis",
       [](FakeRecognizer& r) {
         r.scripts = {{{"x"}, false, "decoder broke"}};
       },
       std::string(), "streaming analyze error: decoder broke"},
  };
  for (const auto& c : cases) {
    auto fresh = std::make_shared<FakeRecognizer>();
    c.setUp(*fresh);
    SpeechEngine local{loop, timer, fresh, temp.path()};
    auto answer = dictateOn(local);
    ASSERT_TRUE(answer.has_value()) << c.name;
    EXPECT_EQ(*answer, c.answer) << c.name;
    EXPECT_TRUE(logs.sink().has(c.log)) << c.name;
    EXPECT_FALSE(local.streamingSkippedForQuarantine()) << c.name;
  }
}

TEST_F(SpeechEngineTest, CancelledStreamLeavesTheNextOnePairedWithItsOwnFinish) {
  recognizer->scripts = {{{"first"}}, {{"second"}}};
  auto cancelled = std::make_shared<LiveBufferStream>(AudioFormat{16000, 1});
  engine.startStreaming(cancelled);
  engine.cancelStreaming();
  cancelled->finish();
  recognizer->scripts = {{{"second"}}};
  auto answer = dictate();
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(*answer, std::optional<std::string>("second"));
  // A finish with no stream at all answers nothing.
  std::optional<std::optional<std::string>> none;
  engine.finishStreaming([&](std::optional<std::string> text) { none = std::move(text); });
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return none.has_value(); }));
  EXPECT_EQ(*none, std::nullopt);
}

TEST_F(SpeechEngineTest, FilePathErrorsReachTheCaller) {
  std::optional<Result<std::string, SpeechError>> result;
  test::writeFile(temp / "not-audio.wav", "RIFF? no, just text");
  engine.transcribe(temp / "not-audio.wav",
                    [&](Result<std::string, SpeechError> r) { result = std::move(r); });
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return result.has_value(); }));
  ASSERT_FALSE(result->ok());
  EXPECT_EQ(result->error(), SpeechError::fileUnreadable);

  recognizer->assets = Status::error("no model");
  SpeechEngine unprepared{loop, timer, recognizer, temp.path()};
  result.reset();
  ASSERT_TRUE(writePcm16Wav(temp / "ok.wav", *tone(8000, 16000), 16000));
  unprepared.transcribe(temp / "ok.wav", [&](Result<std::string, SpeechError> r) { result = std::move(r); });
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return result.has_value(); }));
  ASSERT_FALSE(result->ok());
  EXPECT_EQ(result->error(), SpeechError::notPrepared);
}

TEST_F(SpeechEngineTest, WarmUpTranscribesAThreeTenthsSecondSilentFileAndRemovesIt) {
  std::optional<Status> status;
  engine.warmUp([&](Status s) { status = s; });
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return status.has_value(); }));
  EXPECT_TRUE(status->isOk()) << status->message();
  auto made = recognizer->sessions();
  ASSERT_EQ(made.size(), 1u);
  EXPECT_EQ(made[0].mode, Recognizer::Mode::file);
  EXPECT_EQ(made[0].samples.size(), 4800u);
  for (float s : made[0].samples) ASSERT_EQ(s, 0.0f);
  EXPECT_TRUE(std::filesystem::is_empty(temp.path())) << "the qlx-warm- file is removed";
}

TEST_F(SpeechEngineTest, AssetsAreCheckedOnceAndPrepareReportsFailure) {
  std::optional<Status> status;
  engine.prepare([&](Status s) { status = s; });
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return status.has_value(); }));
  EXPECT_TRUE(status->isOk());
  ASSERT_TRUE(dictate().has_value());
  ASSERT_TRUE(dictate().has_value());
  EXPECT_EQ(recognizer->assetChecks(), 1);

  auto missing = std::make_shared<FakeRecognizer>();
  missing->assets = Status::error("no model file");
  SpeechEngine unprepared{loop, timer, missing, temp.path()};
  status.reset();
  unprepared.prepare([&](Status s) { status = s; });
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return status.has_value(); }));
  EXPECT_FALSE(status->isOk());
  EXPECT_EQ(status->message(), "no model file");
}

TEST_F(SpeechEngineTest, ASwappedRecogniserTakesOverWhileTheRunningDictationFinishesOnTheOld) {
  recognizer->scripts = {{{"old"}, true}};
  auto stream = std::make_shared<LiveBufferStream>(AudioFormat{16000, 1});
  engine.startStreaming(stream);
  stream->push(tone(1600, 16000));
  stream->finish();
  ASSERT_TRUE(test::pumpUntil(loop, [&] {
    auto made = recognizer->sessions();
    return !made.empty() && made.back().samples.size() >= 1600;
  }));
  auto next = std::make_shared<FakeRecognizer>();
  next->scripts = {{{"new"}}};
  engine.setRecognizer(next);
  EXPECT_EQ(&engine.recognizer(), next.get());

  std::optional<std::optional<std::string>> answer;
  engine.finishStreaming([&](std::optional<std::string> text) { answer = std::move(text); });
  recognizer->release();
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return answer.has_value(); }));
  EXPECT_EQ(answer->value_or("none"), "old");

  auto second = dictate();
  ASSERT_TRUE(second && *second);
  EXPECT_EQ(**second, "new");
  EXPECT_EQ(recognizer->sessions().size(), 1u);
  EXPECT_EQ(next->sessions().size(), 1u);
  EXPECT_TRUE(engine.waitUntilIdle(5s));
}

}  // namespace
}  // namespace murvelo
