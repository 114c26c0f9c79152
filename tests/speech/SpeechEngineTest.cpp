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
// What a finish hands back: nothing when no answer came, else the text or none.
using Answer = std::optional<std::optional<std::string>>;
const Answer kNoText{std::in_place};

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
  Answer dictate(double rate = 48000) { return dictateOn(engine, rate); }
  Answer dictateOn(SpeechEngine& target, double rate = 48000) {
    auto stream = std::make_shared<LiveBufferStream>(AudioFormat{rate, 1});
    target.startStreaming(stream);
    for (int i = 0; i < 10; ++i) stream->push(tone(static_cast<std::size_t>(rate / 10), rate));
    stream->finish();
    return finish(target);
  }

  // Asks `target` for its streaming answer, moves the clock on by `wait`, and waits for the answer.
  Answer finish(SpeechEngine& target, std::chrono::milliseconds wait = {}) {
    Answer answer;
    target.finishStreaming([&](std::optional<std::string> text) { answer = std::move(text); });
    if (wait.count() > 0) loop.advance(wait);
    EXPECT_TRUE(test::pumpUntil(loop, [&] { return answer.has_value(); }));
    return answer;
  }

  // Starts a stream of 0.1 s and ends it; returns once the recogniser has all of it.
  void streamTenth() {
    auto stream = std::make_shared<LiveBufferStream>(AudioFormat{16000, 1});
    engine.startStreaming(stream);
    stream->push(tone(1600, 16000));
    stream->finish();
    EXPECT_TRUE(test::pumpUntil(loop, [&] {
      auto made = recognizer->sessions();
      return !made.empty() && made.back().samples.size() >= 1600;
    }));
  }

  test::ScopedLogCapture logs;
  test::TempDir temp;
  ManualLoop loop;
  std::shared_ptr<FakeRecognizer> recognizer = std::make_shared<FakeRecognizer>();
  SpeechEngine engine{loop, loop, recognizer, temp.path()};
};

// The converter's own quality is the WAV writer's test; here: each rate reaches the recogniser at
// its pitch, one second in, one second out, and the results come back joined as they are.
TEST_F(SpeechEngineTest, LiveBuffersReachTheRecogniserAtItsRateAndResultsAreJoinedAsTheyAre) {
  recognizer->scripts = {{{" Leading", " space", "s kept"}}};
  for (double rate : {44100.0, 16000.0}) {
    EXPECT_EQ(dictate(rate), Answer(" Leading spaces kept")) << rate;
    const auto session = recognizer->sessions().back();
    EXPECT_EQ(session.mode, Recognizer::Mode::streaming);
    EXPECT_NEAR(static_cast<double>(session.samples.size()), 16000, 64) << rate;
    int crossings = 0;
    for (std::size_t i = 1; i < session.samples.size(); ++i)
      crossings += (session.samples[i - 1] < 0) != (session.samples[i] < 0);
    EXPECT_NEAR(crossings, 880, 10) << rate;
  }
}

TEST_F(SpeechEngineTest, HangingAnalysisGivesNothingAfterThreeSecondsAndTheNextDictationIsFileOnly) {
  recognizer->scripts = {{{"never"}, true}, {{"streams again"}}};
  streamTenth();
  EXPECT_EQ(finish(engine, 3s), kNoText);
  EXPECT_TRUE(engine.finalization().hasQuarantinedFinalizer());

  // The next dictation opens no session and says why.
  EXPECT_EQ(dictate(), kNoText);
  EXPECT_TRUE(engine.streamingSkippedForQuarantine());
  EXPECT_EQ(recognizer->sessions().size(), 1u);

  // Once the stuck analysis exits, streaming comes back.
  recognizer->release();
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return !engine.finalization().hasQuarantinedFinalizer(); }));
  EXPECT_EQ(dictate(), Answer("streams again"));
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
      {"no analysis format", [](auto& r) { r.rate = 0; }, std::nullopt,
       "streaming: no analysis format / converter"},
      {"assets", [](auto& r) { r.assets = Status::error("model missing"); }, "",
       "streaming assets failed: model missing"},
      {"analysis",
       [](auto& r) {
         r.scripts = {{{"x"}, false, "decoder broke"}};
       },
       "", "streaming analyze error: decoder broke"},
  };
  for (const auto& c : cases) {
    auto fresh = std::make_shared<FakeRecognizer>();
    c.setUp(*fresh);
    SpeechEngine local{loop, loop, fresh, temp.path()};
    EXPECT_EQ(dictateOn(local), Answer(c.answer)) << c.name;
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
  EXPECT_EQ(dictate(), Answer("second"));
  // A finish with no stream at all answers nothing.
  EXPECT_EQ(finish(engine), kNoText);
}

TEST_F(SpeechEngineTest, FileAndPrepareErrorsReachTheCaller) {
  auto transcribe = [&](SpeechEngine& target, const std::filesystem::path& file) {
    std::optional<Result<std::string, SpeechError>> result;
    target.transcribe(file, [&](Result<std::string, SpeechError> r) { result = std::move(r); });
    test::pumpUntil(loop, [&] { return result.has_value(); });
    return result && !result->ok() ? std::optional(result->error()) : std::nullopt;
  };
  test::writeFile(temp / "not-audio.wav", "RIFF? no, just text");
  EXPECT_EQ(transcribe(engine, temp / "not-audio.wav"), SpeechError::fileUnreadable);

  auto missing = std::make_shared<FakeRecognizer>();
  missing->assets = Status::error("no model file");
  SpeechEngine unprepared{loop, loop, missing, temp.path()};
  ASSERT_TRUE(writePcm16Wav(temp / "ok.wav", *tone(8000, 16000), 16000));
  EXPECT_EQ(transcribe(unprepared, temp / "ok.wav"), SpeechError::notPrepared);
  std::optional<Status> status;
  unprepared.prepare([&](Status s) { status = s; });
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return status.has_value(); }));
  EXPECT_EQ(status->message(), "no model file");
}

TEST_F(SpeechEngineTest, WarmUpTranscribesAThreeTenthsSecondSilentFileRemovesItAndLoadsAssetsOnce) {
  std::optional<Status> status;
  engine.warmUp([&](Status s) { status = s; });
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return status.has_value(); }));
  EXPECT_TRUE(status->isOk()) << status->message();
  auto made = recognizer->sessions();
  ASSERT_EQ(made.size(), 1u);
  EXPECT_EQ(made[0].samples, std::vector<float>(4800, 0.0f));
  EXPECT_TRUE(std::filesystem::is_empty(temp.path())) << "the qlx-warm- file is removed";
  ASSERT_TRUE(dictate().has_value());
  ASSERT_TRUE(dictate().has_value());
  EXPECT_EQ(recognizer->assetChecks(), 1) << "assets are checked once";
}

TEST_F(SpeechEngineTest, ASwappedRecogniserTakesOverWhileTheRunningDictationFinishesOnTheOld) {
  recognizer->scripts = {{{"old"}, true}};
  streamTenth();
  auto next = std::make_shared<FakeRecognizer>();
  next->scripts = {{{"new"}}};
  engine.setRecognizer(next);
  EXPECT_EQ(&engine.recognizer(), next.get());

  Answer answer;
  engine.finishStreaming([&](std::optional<std::string> text) { answer = std::move(text); });
  recognizer->release();
  ASSERT_TRUE(test::pumpUntil(loop, [&] { return answer.has_value(); }));
  EXPECT_EQ(answer, Answer("old"));

  EXPECT_EQ(dictate(), Answer("new"));
  EXPECT_EQ(recognizer->sessions().size(), 1u);
  EXPECT_EQ(next->sessions().size(), 1u);
  EXPECT_TRUE(engine.waitUntilIdle(5s));
}

}  // namespace
}  // namespace murvelo
