#include <gtest/gtest.h>

#include "app/AppEnvironment.h"
#include "base/DefaultsStore.h"
#include "base/ManualLoop.h"
#include "sim/SimulatedDevices.h"
#include "support/RecordingLogSink.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;
using sim::ScriptedAnswer;
using SK = DictationStatus::Kind;

// Echoes the transcript, or answers a fixed text; remembers what it was asked.
class ScriptedCleaner : public TranscriptCleaner {
 public:
  CleanedTranscript clean(std::string_view raw, CleanupLevel level, bool sentenceStart, bool) const override {
    calls.push_back({level, sentenceStart});
    return {answer ? *answer : std::string(raw), {}, std::nullopt};
  }
  std::optional<std::string> answer;
  mutable std::vector<std::pair<CleanupLevel, bool>> calls;
};

// A field that takes 20 s to answer.
struct SlowCursor : CursorContextReader {
  explicit SlowCursor(MainLoop& loop) : loop(loop) {}
  void read(std::function<void(CursorContext)> done) override {
    loop.postAfter(20s, [done] { done(CursorContext::fromText("")); });
  }
  MainLoop& loop;
};

class ControllerTest : public ::testing::Test {
 protected:
  void SetUp() override { make(); }

  // The program's assembly over simulated devices, with a scripted cleaner.
  void make(CursorContextReader* reader = nullptr) {
    app = std::make_unique<AppEnvironment>(AppBackends{.loop = loop,
                                                       .timer = loop,
                                                       .defaults = defaults,
                                                       .recorder = recorder,
                                                       .cursor = reader ? *reader : cursor,
                                                       .inserter = inserter,
                                                       .recognizer = nullptr,
                                                       .tempDir = {},
                                                       .capture = &recorder,
                                                       .speech = &speech,
                                                       .cleaner = &cleaner});
    controller = &app->controller();
    settings().setUseDictationEngine(true);
    controller->setTalkKeyQuery([this] { return keyHeld; });
  }

  void at(std::chrono::milliseconds ms) {
    auto target = start + ms;
    if (target > loop.now()) loop.advance(target - loop.now());
    loop.runUntilIdle();
  }
  void press(std::chrono::milliseconds ms) {
    at(ms);
    keyHeld = true;
    controller->keyDown();
    loop.runUntilIdle();
  }
  void release(std::chrono::milliseconds ms) {
    at(ms);
    keyHeld = false;
    controller->keyUp();
    loop.runUntilIdle();
  }
  void finish() {
    while (loop.advanceToNextTimer()) {
    }
  }
  // One whole dictation from now: the key held for `hold`, then everything it started run out.
  void dictate(std::chrono::milliseconds hold = 1000ms) {
    const auto from = std::chrono::duration_cast<std::chrono::milliseconds>(loop.now() - start);
    press(from);
    release(from + hold);
    finish();
  }
  bool hasLog(const std::string& message) const { return logs.sink().has(message); }
  AppSettings& settings() { return app->settings(); }
  HistoryStore& history() { return app->history(); }

  mutable test::ScopedLogCapture logs;
  ManualLoop loop;
  MainLoop::TimePoint start = loop.now();
  InMemoryDefaultsStore defaults;
  sim::SimulatedRecorder recorder{loop};
  sim::SimulatedSpeech speech{loop};
  sim::SimulatedCursor cursor{loop};
  sim::SimulatedInserter inserter;
  ScriptedCleaner cleaner;
  std::unique_ptr<AppEnvironment> app;
  DictationController* controller = nullptr;
  bool keyHeld = false;
};

TEST_F(ControllerTest, ShortTapWhileAnEarlierRunWorksShowsTranscribing) {
  speech.scriptStream(ScriptedAnswer::says("first", 5s));
  press(0ms);
  release(1000ms);
  press(1500ms);
  release(1600ms);
  EXPECT_EQ(controller->status().kind, SK::transcribing);
  EXPECT_EQ(controller->runID(), 1);
  finish();
  EXPECT_EQ(speech.openSessions(), 0) << "the short tap tore its streaming session down";
}

// The default microphone's failure: see the mic-fail scenario.
TEST_F(ControllerTest, SelectedMicrophoneStartFailureNotice) {
  settings().setMicrophoneSelection(MicrophoneSelection::device("usb-1"));
  recorder.failNextStart();
  controller->keyDown();
  EXPECT_EQ(controller->status(),
            DictationStatus::message("Selected microphone unavailable. Check Settings."));
  loop.advance(5999ms);
  EXPECT_EQ(controller->status().kind, SK::message);
  loop.advance(1ms);
  EXPECT_EQ(controller->status().kind, SK::idle);
  controller->keyUp();
  EXPECT_EQ(controller->runID(), 0);
}

TEST_F(ControllerTest, RunResetWhileReadingTheCursorIsAbandonedBeforeInsert) {
  SlowCursor slow(loop);
  make(&slow);
  speech.scriptStream(ScriptedAnswer::says("words", 100ms));
  dictate();
  EXPECT_TRUE(hasLog("run 1 abandoned pre-insert"));
  EXPECT_TRUE(inserter.deliveries().empty());
  EXPECT_TRUE(history().items().empty());
}

TEST_F(ControllerTest, DeliveredTextSpacing) {
  struct Case {
    std::string cleaned;
    std::optional<std::string> beforeCursor;
    const char* delivered;
  };
  const Case cases[] = {
      {" Hello.", "word", " Hello. "},
      {"Dear Sam,\n\n", "", "Dear Sam,\n\n"},
      {"Hello.", std::nullopt, "Hello. "},
      // Control characters other than tab and line breaks never reach the application.
      {std::string("He\0llo\x1b.\x7f\u0085\tx", 13), "", "Hello.\tx "},
  };
  for (const auto& c : cases) {
    cleaner.answer = c.cleaned;
    cursor.preceding = c.beforeCursor;
    speech.scriptStream(ScriptedAnswer::says("anything", 10ms));
    dictate();
    ASSERT_FALSE(inserter.deliveries().empty());
    EXPECT_EQ(inserter.deliveries().back().text, c.delivered) << testing::PrintToString(c.cleaned);
  }
}

TEST_F(ControllerTest, CleanupGetsTheLevelAndTheSentenceStart) {
  struct Case {
    CleanupLevel level;
    std::optional<std::string> beforeCursor;
    bool sentenceStart;
  };
  const Case cases[] = {{CleanupLevel::light, "and then", false},
                        {CleanupLevel::format, std::nullopt, true},
                        {CleanupLevel::none, "Done. ", true}};
  for (const auto& c : cases) {
    settings().setCleanupLevel(c.level);
    cursor.preceding = c.beforeCursor;
    speech.scriptStream(ScriptedAnswer::says("text", 10ms));
    controller->keyDown();
    loop.advance(1s);
    settings().setCleanupLevel(CleanupLevel::light);  // read when the run starts, not later
    settings().setCleanupLevel(c.level);
    controller->keyUp();
    settings().setCleanupLevel(CleanupLevel::light);
    finish();
    ASSERT_FALSE(cleaner.calls.empty());
    EXPECT_EQ(cleaner.calls.back(), std::make_pair(c.level, c.sentenceStart));
  }
}

TEST_F(ControllerTest, WithoutStreamingTheFileIsTheOnlySource) {
  settings().setUseDictationEngine(false);
  speech.scriptFile(ScriptedAnswer::says("file words", 100ms));
  dictate();
  EXPECT_EQ(speech.openSessions(), 0);
  ASSERT_EQ(inserter.deliveries().size(), 1u);
  EXPECT_EQ(inserter.deliveries()[0].text, "file words ");
}

TEST_F(ControllerTest, HistoryItemOfADeliveredRun) {
  settings().setCleanupLevel(CleanupLevel::format);
  speech.scriptStream(ScriptedAnswer::says("three little words", 400ms));
  dictate(1500ms);
  ASSERT_EQ(history().items().size(), 1u);
  const auto& item = history().items().front();
  EXPECT_DOUBLE_EQ(*item.speechSeconds, 1.5);
  EXPECT_DOUBLE_EQ(*item.processingSeconds, 0.4);
  EXPECT_EQ(item.cleanup, "format");
  EXPECT_EQ(item.spokenWordCount, 3);
}

TEST_F(ControllerTest, MicrophoneReadinessFollowsTheFirstAudio) {
  std::vector<bool> readiness;
  controller->setStatusObserver([&](const DictationStatus&, bool ready) { readiness.push_back(ready); });
  press(0ms);
  at(60ms);
  EXPECT_EQ(readiness, (std::vector<bool>{false, true}));
}

// A run's settled capture records how fast the microphone started; the scenarios show the
// captures that record nothing.
TEST_F(ControllerTest, SettledCaptureRecordsTheStartupTime) {
  speech.scriptStream(ScriptedAnswer::says("a", 10ms));
  press(0ms);
  release(1000ms);
  at(1100ms);
  EXPECT_EQ(settings().microphoneStartupHistory().median("sim-built-in"), 60);
}

// Whoever sees "transcribing" finds the run already counted.
TEST_F(ControllerTest, TranscribingIsShownOnlyOnceTheRunIsInFlight) {
  std::vector<std::size_t> inflightWhenTranscribing;
  controller->setStatusObserver([&](const DictationStatus& status, bool) {
    if (status.is(SK::transcribing)) inflightWhenTranscribing.push_back(controller->inflightRuns().size());
  });
  speech.scriptStream(ScriptedAnswer::says("a", 10ms));
  dictate();
  EXPECT_EQ(inflightWhenTranscribing, std::vector<std::size_t>{1});
}

TEST_F(ControllerTest, TheRecogniserHearsOfEveryChangeOfMicrophone) {
  for (const char* device : {"usb", "usb", "headset", "headset", "usb"}) {
    RecorderFacts facts;
    facts.deviceID = device;
    recorder.nextCaptureFacts(facts);
    controller->keyDown();
    loop.advance(1s);
    controller->keyUp();
    finish();
  }
  EXPECT_EQ(speech.microphones(), (std::vector<std::string>{"usb", "headset", "usb"}));
}

TEST_F(ControllerTest, DestroyedWithWorkUnderWay) {
  speech.scriptStream(ScriptedAnswer::says("later", 2s));
  press(0ms);
  release(1000ms);
  press(1500ms);
  app.reset();
  finish();
  EXPECT_TRUE(inserter.deliveries().empty());
}

}  // namespace
}  // namespace murvelo
