#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "FakeCaptureSession.h"
#include "audio/AudioRecorder.h"
#include "base/ManualLoop.h"
#include "support/Pump.h"
#include "support/RecordingLogSink.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;
using test::FakeCaptureSession;

class AudioRecorderTest : public ::testing::Test {
 protected:
  AudioRecorderTest() {
    session.found = {{{"alsa_input.internal", "Built-in Audio", true, false, 16000}}, "alsa_input.internal"};
  }

  std::shared_ptr<LiveBufferStream> startOK(std::function<void()> onFirstAudio = nullptr) {
    auto started = recorder.start(std::move(onFirstAudio));
    EXPECT_TRUE(started.ok());
    return started.ok() ? started.value() : nullptr;
  }

  // A short capture of one buffer, stopped.
  void captureOnce() {
    startOK();
    session.deliver({0.1f});
    recorder.stop();
  }

  // Runs the loop until the session stop posted its completion back, in real time.
  void settleStop() {
    EXPECT_TRUE(test::pumpUntil(loop, [&] { return !recorder.stopInFlight(); }))
        << "the stop never completed";
  }

  test::ScopedLogCapture logs;
  ManualLoop loop;
  FakeCaptureSession session;
  MicrophoneSelection selection = MicrophoneSelection::builtIn();
  AudioRecorder recorder{loop, session, [this] { return selection; }};
};

// ---- configuration ----

TEST_F(AudioRecorderTest, StartFailuresAreRecorderErrorsAndLeaveNothingBehind) {
  using Error = CaptureSession::ConfigureError;
  struct Case {
    const char* name;
    std::optional<Error> configureFails;
    bool noDevice, doesNotRun;
    RecorderError expected;
  };
  const Case cases[] = {
      {"format rejected", Error::formatRejected, false, false, RecorderError::couldNotBuildBuffer},
      {"input failed", Error::inputFailed, false, false, RecorderError::noMicrophone},
      {"no device", std::nullopt, true, false, RecorderError::noMicrophone},
      {"session does not run", std::nullopt, false, true, RecorderError::noMicrophone},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakeCaptureSession fresh;
    if (!c.noDevice) fresh.found = session.found;
    if (c.configureFails) fresh.nextConfigureFailure = {{*c.configureFails, ""}};
    fresh.startFails = c.doesNotRun;
    AudioRecorder sut{loop, fresh, [this] { return selection; }};
    auto started = sut.start([] { ADD_FAILURE() << "no audio expected"; });
    ASSERT_FALSE(started.ok());
    EXPECT_EQ(started.error(), c.expected);
    EXPECT_FALSE(sut.facts().isRecording);
    fresh.deliver({0.5f});  // a late buffer of the failed start
    fresh.found = session.found;
    fresh.startFails = false;
    ASSERT_TRUE(sut.start(nullptr).ok());
    fresh.deliver({0.3f});
    CapturedAudio audio = sut.stop();
    ASSERT_EQ(audio.buffers.size(), 1u);
    EXPECT_EQ(audio.buffers[0]->front(), 0.3f);
  }
}

TEST_F(AudioRecorderTest, ReconfiguresOnlyWhenTheResolvedDeviceChanges) {
  session.found.devices.push_back({"usb", "USB mic", false, true});
  captureOnce();
  captureOnce();
  EXPECT_EQ(session.configures, 1);

  selection = MicrophoneSelection::device("usb");
  auto stream = startOK();
  EXPECT_EQ(session.configures, 2);
  // No rate named: 48 kHz.
  EXPECT_EQ(session.configuredWith.back(), (std::pair<std::string, double>{"usb", 48000}));
  EXPECT_EQ(stream->format().sampleRate, 48000);
  EXPECT_TRUE(recorder.facts().didRecordViaBluetooth);
}

// ---- per buffer ----

TEST_F(AudioRecorderTest, LeadingExactZerosAreDroppedQuietNoiseAndLaterSilenceAreKept) {
  int firstAudio = 0;
  auto stream = startOK([&] { ++firstAudio; });
  session.mode = "voiceIsolation";
  loop.advance(120ms);
  session.deliver(std::vector<float>(160, 0.0f));  // 10 ms at 16 kHz
  session.deliver(std::vector<float>(175, 0.0f));  // 10.9 ms: counts 10
  EXPECT_EQ(firstAudio, 0);
  std::vector<float> quiet(160, 0.0f);
  quiet[159] = 1e-7f;  // far below any level threshold, yet real
  EXPECT_EQ(recorder.facts().micModeAtCapture, "unknown");
  session.deliver(quiet);
  EXPECT_EQ(firstAudio, 1);
  session.deliver({0.3f, -0.4f});
  session.deliver(std::vector<float>(160, 0.0f));
  EXPECT_EQ(firstAudio, 1);

  auto facts = recorder.facts();
  EXPECT_EQ(std::tuple(facts.droppedZeroMs, facts.micLiveMs, facts.micModeAtCapture),
            std::tuple(20, 120, "voiceIsolation"));
  // The level of the last buffer, and the peak of the capture: rms = sqrt((0.09 + 0.16) / 2).
  EXPECT_EQ(facts.recentRMS, 0.0f);
  EXPECT_NEAR(facts.peakRMS, std::sqrt(0.125f), 1e-6);

  CapturedAudio audio = recorder.stop();
  ASSERT_EQ(audio.buffers.size(), 3u);
  EXPECT_EQ(audio.buffers[0]->back(), 1e-7f);
  EXPECT_EQ(audio.format, (AudioFormat{16000, 1}));
  startOK();
  EXPECT_EQ(recorder.facts().peakRMS, 0.0f);  // levels belong to one capture
}

// A short tap ends before the microphone delivers anything: that is no dead session.
TEST_F(AudioRecorderTest, CancelledEmptyCaptureKeepsTheSession) {
  startOK();
  recorder.cancel();
  EXPECT_FALSE(recorder.pendingInvalidation());
  recorder.stopSession(true);
  settleStop();
  EXPECT_TRUE(recorder.isConfigured());
  startOK();
  EXPECT_EQ(session.configures, 1);
}

TEST_F(AudioRecorderTest, LiveStreamCarriesTheSameBuffersAndEndsAtStop) {
  auto stream = startOK();
  session.deliver(std::vector<float>(160, 0.0f));
  session.deliver({0.1f, 0.2f});
  session.deliver({0.3f});
  CapturedAudio audio = recorder.stop();
  session.deliver({0.9f});  // after the stop: neither stored nor streamed

  std::vector<AudioBuffer> streamed;
  AudioBuffer next;
  while (stream->next(next, 0ms) == LiveBufferStream::Wait::buffer) streamed.push_back(next);
  EXPECT_TRUE(stream->isFinished());
  ASSERT_EQ(streamed.size(), 2u);
  EXPECT_EQ(streamed, audio.buffers);  // the same objects, not copies
  EXPECT_EQ(recorder.stop().buffers.size(), 2u);

  // A start closes a capture that is still open.
  auto first = startOK();
  auto second = startOK();
  EXPECT_TRUE(first->isFinished());
  EXPECT_FALSE(second->isFinished());
}

// ---- session stop ----

TEST_F(AudioRecorderTest, SessionStopWaitsForTheCaptureTailThenRunsOffTheMainThread) {
  std::atomic<std::int64_t> settledGeneration{-1};
  recorder.setStopSettledHandler(
      [&](std::int64_t generation, std::int64_t) { settledGeneration = generation; });
  startOK();
  session.deliver({0.1f});
  // Held, so a fast worker cannot finish the stop before the check below looks at it.
  session.holdStops();
  recorder.stop();
  recorder.stopSession(false);
  loop.advance(299ms);
  EXPECT_FALSE(recorder.stopInFlight());
  EXPECT_EQ(session.stops.load(), 0);
  loop.advance(1ms);
  EXPECT_TRUE(recorder.stopInFlight());
  session.releaseStops();
  settleStop();
  EXPECT_EQ(session.stops.load(), 1);
  EXPECT_FALSE(session.isRunning());
  EXPECT_EQ(settledGeneration.load(), recorder.captureGeneration());
}

TEST_F(AudioRecorderTest, StartWithinTheCaptureTailKeepsTheSessionRunning) {
  captureOnce();
  recorder.stopSession(false);
  loop.advance(100ms);
  auto stream = startOK();
  loop.advance(1s);
  EXPECT_EQ(std::pair(session.stops.load(), session.isRunning()), std::pair(0, true));
  session.deliver({0.2f});
  EXPECT_EQ(recorder.stop().buffers.size(), 1u);
}

// Starting a session that is still stopping leaves it dead: a start waits for the stop, 2 s at most.
TEST_F(AudioRecorderTest, StartWaitsForAHangingStopTwoSecondsAtMost) {
  captureOnce();
  session.holdStops();
  recorder.stopSession(true);
  ASSERT_TRUE(session.waitStopEntered(5s));

  auto began = std::chrono::steady_clock::now();
  auto started = recorder.start(nullptr);
  EXPECT_GE(std::chrono::steady_clock::now() - began, 2s);
  ASSERT_FALSE(started.ok());
  EXPECT_EQ(started.error(), RecorderError::noMicrophone);
  EXPECT_FALSE(recorder.facts().isRecording);

  std::thread releaser([&] {
    std::this_thread::sleep_for(50ms);
    session.releaseStops();
  });
  started = recorder.start(nullptr);
  releaser.join();
  ASSERT_TRUE(started.ok());
  EXPECT_EQ(session.stops.load(), 1);
  EXPECT_TRUE(session.isRunning());  // started again after the stop, not before
  // The stop's late completion does not disturb the new capture.
  settleStop();
  loop.runUntilIdle();
  EXPECT_TRUE(recorder.facts().isRecording);
}

// ---- invalidation ----

TEST_F(AudioRecorderTest, InvalidationDuringACaptureWaitsUntilTheStopCompletes) {
  startOK();
  session.deliver({0.1f});
  session.emit({SessionEvent::Kind::interrupted, ""});
  loop.runUntilIdle();
  EXPECT_TRUE(recorder.isConfigured());
  EXPECT_EQ(session.teardowns, 0);
  session.deliver({0.2f});  // the dictation goes on
  EXPECT_EQ(recorder.stop().buffers.size(), 2u);
  session.holdStops();
  recorder.stopSession(true);
  ASSERT_TRUE(session.waitStopEntered(5s));
  recorder.invalidate("runtime error");  // while the stop is in flight: only remembered
  EXPECT_EQ(recorder.pendingInvalidation(), "runtime error");
  session.releaseStops();
  settleStop();
  EXPECT_FALSE(recorder.isConfigured());
  EXPECT_EQ(session.teardowns, 1);
  EXPECT_FALSE(recorder.pendingInvalidation());
}

TEST_F(AudioRecorderTest, PendingInvalidationIsCarriedOutByTheNextStart) {
  startOK();
  session.deliver({0.1f});
  recorder.invalidate("system wake");
  recorder.stop();  // no session stop follows
  auto stream = startOK();
  EXPECT_EQ(std::pair(session.teardowns, session.configures), std::pair(1, 2));
}

}  // namespace
}  // namespace murvelo
