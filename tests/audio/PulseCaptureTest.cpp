#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

#include "audio/WavWriter.h"
#include "audio/pulse/LinuxAudioRecorder.h"
#include "audio/pulse/LogindSleepWatcher.h"
#include "base/EventLoop.h"
#include "support/ChildProcess.h"
#include "support/PulseTestServer.h"
#include "support/RecordingLogSink.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;
using test::PulseTestServer;

// Runs the loop on this thread until `done` holds or `limit` passes.
bool runUntil(EventLoop& loop, const std::function<bool()>& done, std::chrono::milliseconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  std::function<void()> check = [&] {
    if (done() || std::chrono::steady_clock::now() >= deadline)
      loop.quit();
    else
      loop.postAfter(5ms, check);
  };
  loop.post(check);
  loop.run();
  return done();
}

void runFor(EventLoop& loop, std::chrono::milliseconds time) {
  auto until = std::chrono::steady_clock::now() + time;
  runUntil(
      loop, [&] { return std::chrono::steady_clock::now() >= until; }, time + 1s);
}

std::size_t frames(const CapturedAudio& audio) {
  std::size_t total = 0;
  for (const auto& buffer : audio.buffers) total += buffer->size();
  return total;
}

class PulseCaptureTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!PulseTestServer::available())
      GTEST_SKIP() << "pulseaudio is not installed (scripts/setup.sh installs it)";
    server = std::make_unique<PulseTestServer>(48000);
    ASSERT_TRUE(server->start()) << server->log();
    LinuxAudioRecorder::Options options;
    options.watchSleep = false;
    platform = std::make_unique<LinuxAudioRecorder>(
        loop, [this] { return selection; }, options);
  }
  void TearDown() override {
    platform.reset();
    server.reset();
  }

  AudioRecorder& recorder() { return platform->recorder(); }

  // One capture: start, feed `speech` in real time (if any), keep going for `extra`, stop.
  CapturedAudio capture(const std::vector<float>& speech, std::chrono::milliseconds extra,
                        int* firstAudio = nullptr) {
    auto started = recorder().start([firstAudio] {
      if (firstAudio) ++*firstAudio;
    });
    EXPECT_TRUE(started.ok());
    if (!started.ok()) return {};
    std::thread feeder;
    std::atomic<bool> fed{speech.empty()};
    if (!speech.empty())
      feeder = std::thread([&] {
        server->feed(speech, true);
        fed = true;
      });
    runUntil(
        loop, [&] { return fed.load(); }, 30s);
    runFor(loop, extra);
    if (feeder.joinable()) feeder.join();
    CapturedAudio audio = recorder().stop();
    recorder().stopSession(true);
    runUntil(
        loop, [&] { return !recorder().stopInFlight(); }, 5s);
    runFor(loop, 20ms);
    return audio;
  }

  static const std::vector<float>& speech() {
    static const std::vector<float> samples =
        PulseTestServer::synthesize("go forward ten meters, then turn left at the red door", 48000);
    return samples;
  }

  test::ScopedLogCapture logs;
  EventLoop loop;
  std::unique_ptr<PulseTestServer> server;
  MicrophoneSelection selection = MicrophoneSelection::device(PulseTestServer::kSpeechSource);
  std::unique_ptr<LinuxAudioRecorder> platform;
};

TEST_F(PulseCaptureTest, DiscoversInputsButNotMonitors) {
  // Filters over the silent source, labelled as a laptop's own microphone and as a headset.
  ASSERT_GE(server->loadModule("module-remap-source",
                               "source_name=laptop master=silence rate=44100 channels=1 "
                               "source_properties=device.form_factor=internal"),
            0);
  ASSERT_GE(server->loadModule(
                "module-remap-source",
                "source_name=headset master=silence channels=1 source_properties=device.bus=bluetooth"),
            0);
  DeviceList found = platform->session().discover();
  std::vector<std::string> ids;
  for (const auto& device : found.devices) ids.push_back(device.id);
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(ids, (std::vector<std::string>{"headset", "laptop", "silence", "speech"}));
  EXPECT_EQ(found.defaultID, "speech");
  EXPECT_EQ(found.find("speech")->name, "Speech");
  EXPECT_TRUE(found.find("headset")->isBluetooth);
  EXPECT_FALSE(found.find("speech")->isBuiltIn || found.find("speech")->isBluetooth);

  EXPECT_EQ(found.find("laptop")->sampleRate, 44100);
  EXPECT_TRUE(found.find("laptop")->isBuiltIn);
}

TEST_F(PulseCaptureTest, NullSourceGivesSilenceAndARebuild) {
  selection = MicrophoneSelection::device(PulseTestServer::kSilenceSource);
  int firstAudio = 0;
  CapturedAudio audio = capture({}, 600ms, &firstAudio);
  EXPECT_TRUE(audio.buffers.empty());
  EXPECT_EQ(firstAudio, 0);
  EXPECT_GE(recorder().facts().droppedZeroMs, 400);
  EXPECT_FALSE(recorder().isConfigured());

  selection = MicrophoneSelection::device(PulseTestServer::kSpeechSource);
  CapturedAudio next = capture(speech(), 100ms);
  EXPECT_FALSE(next.buffers.empty());
  EXPECT_TRUE(recorder().isConfigured());
}

TEST_F(PulseCaptureTest, CapturesAllThatWasSpokenAndStaysUsableThroughACrashedOrAbsentServer) {
  ASSERT_GT(speech().size(), 48000u) << "espeak-ng/sox produced no speech";
  int firstAudio = 0;
  CapturedAudio audio = capture(speech(), 300ms, &firstAudio);
  EXPECT_EQ(audio.format->sampleRate, 48000);
  EXPECT_EQ(firstAudio, 1);
  // Only leading buffers of exact silence may be missing, and the level is untouched.
  EXPECT_NEAR(static_cast<double>(frames(audio)), static_cast<double>(speech().size()), 48000 * 0.05);
  std::vector<float> got;
  for (const auto& buffer : audio.buffers) got.insert(got.end(), buffer->begin(), buffer->end());
  EXPECT_NEAR(rmsLevel(got), rmsLevel(speech()), rmsLevel(speech()) * 0.05);

  server->stop(/*crash=*/true);
  runUntil(
      loop, [&] { return !recorder().isConfigured(); }, 5s);
  EXPECT_FALSE(recorder().isConfigured());
  const auto messages = logs.sink().messages();
  EXPECT_TRUE(std::any_of(messages.begin(), messages.end(), [](const auto& message) {
    return message.starts_with("capture runtime error: ");
  }));
  auto started = recorder().start(nullptr);
  ASSERT_FALSE(started.ok());
  EXPECT_EQ(started.error(), RecorderError::noMicrophone);
  EXPECT_FALSE(recorder().microphoneAuthorized());

  ASSERT_TRUE(server->start()) << server->log();
  EXPECT_TRUE(recorder().microphoneAuthorized());
  EXPECT_NEAR(static_cast<double>(frames(capture(speech(), 100ms))), static_cast<double>(speech().size()),
              48000 * 0.05);
}

TEST_F(PulseCaptureTest, RemovedSourceKeepsWhatCameAndFallsBackToTheDefault) {
  auto plugIn = [&] {
    return server->loadModule("module-sine-source", "source_name=usbmic rate=48000 frequency=440");
  };
  selection = MicrophoneSelection::device("usbmic");
  // Removed in the middle of a dictation: never torn down then, and what came is kept.
  int module = plugIn();
  ASSERT_GE(module, 0);
  ASSERT_TRUE(recorder().start(nullptr).ok());
  runFor(loop, 300ms);
  ASSERT_TRUE(server->pactl({"unload-module", std::to_string(module)}));
  runFor(loop, 200ms);
  EXPECT_TRUE(recorder().isConfigured());
  EXPECT_FALSE(recorder().stop().buffers.empty());
  recorder().stopSession(true);
  runUntil(
      loop, [&] { return !recorder().stopInFlight(); }, 5s);

  // Plugged in again, then removed between dictations: rebuilt on the default input.
  module = plugIn();
  ASSERT_GE(module, 0);
  EXPECT_FALSE(capture({}, 300ms).buffers.empty());
  ASSERT_TRUE(server->pactl({"unload-module", std::to_string(module)}));
  runUntil(
      loop, [&] { return !recorder().isConfigured(); }, 5s);
  EXPECT_TRUE(
      logs.sink().has("capture session invalidated (session interrupted) — will rebuild on next start"));
  EXPECT_FALSE(capture(speech(), 100ms).buffers.empty());
  EXPECT_EQ(recorder().facts().deviceID, "speech");
}

// ---- sleep and wake ----

TEST(LogindSleepWatcherTest, ReportsEachWakeFromSleep) {
  if (access("/usr/bin/dbus-daemon", X_OK) != 0) GTEST_SKIP() << "dbus-daemon is not installed";
  test::TempDir dir;
  test::ChildProcess daemon;
  const std::string address =
      daemon.startAndReadLine({"/usr/bin/dbus-daemon", "--session", "--nofork",
                               "--address=unix:path=" + (dir / "bus").string(), "--print-address={fd}"},
                              {}, dir / "dbus.log");
  ASSERT_FALSE(address.empty()) << test::readFile(dir / "dbus.log");

  std::atomic<int> wakes{0};
  {
    LogindSleepWatcher watcher([&] { ++wakes; }, {address, ""});
    watcher.waitUntilReady();
    ASSERT_TRUE(watcher.isWatching());
    auto send = [&](const char* sleeping) {
      return test::runProcess("/usr/bin/dbus-send",
                              {"--bus=" + address, "--type=signal", "/org/freedesktop/login1",
                               "org.freedesktop.login1.Manager.PrepareForSleep", sleeping})
          .exitCode;
    };
    EXPECT_EQ(send("boolean:true"), 0);  // going to sleep: nothing to do yet
    EXPECT_EQ(send("boolean:false"), 0);
    for (int i = 0; i < 300 && wakes.load() < 1; ++i) std::this_thread::sleep_for(10ms);
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(wakes.load(), 1);
  }
}

TEST(LogindSleepWatcherTest, NoBusMeansNoWatchingAndNoCrash) {
  LogindSleepWatcher watcher([] {}, {"unix:path=/nonexistent/murvelo-bus", ""});
  watcher.waitUntilReady();
  EXPECT_FALSE(watcher.isWatching());
}

}  // namespace
}  // namespace murvelo
