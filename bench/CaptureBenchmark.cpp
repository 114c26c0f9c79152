// Capture start-up and stop times on a private PulseAudio server: 20 captures from a
// timer-driven source (like a sound card), after a warm start and with a rebuild before each.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "audio/pulse/LinuxAudioRecorder.h"
#include "base/EventLoop.h"
#include "base/Log.h"
#include "support/PulseTestServer.h"

using namespace murvelo;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kCaptures = 20;

void runUntil(EventLoop& loop, const std::function<bool()>& done, Clock::duration limit) {
  auto deadline = Clock::now() + limit;
  std::function<void()> check = [&] {
    if (done() || Clock::now() >= deadline)
      loop.quit();
    else
      loop.postAfter(1ms, check);
  };
  loop.post(check);
  loop.run();
}

struct Figures {
  std::vector<double> startCall, firstAudio, startup, micLive, stop;
};

double percentile(std::vector<double> values, double p) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[std::min(values.size() - 1, static_cast<std::size_t>(p * values.size()))];
}

void print(const char* title, const Figures& f) {
  std::printf("%s (%zu captures)\n", title, f.startup.size());
  std::printf("  %-34s %8s %8s %8s\n", "", "median", "p90", "max");
  auto row = [](const char* name, const std::vector<double>& v) {
    std::printf("  %-34s %8.1f %8.1f %8.1f\n", name, percentile(v, 0.5), percentile(v, 0.9),
                v.empty() ? 0.0 : *std::max_element(v.begin(), v.end()));
  };
  row("start() call, ms", f.startCall);
  row("first audio after start(), ms", f.firstAudio);
  row("startupMs (session run -> audio)", f.startup);
  row("micLiveMs", f.micLive);
  row("session stop (lastStopMs)", f.stop);
}

Figures measure(EventLoop& loop, AudioRecorder& recorder, bool rebuildEachTime) {
  Figures figures;
  for (int i = 0; i < kCaptures; ++i) {
    if (rebuildEachTime) recorder.invalidate("system wake");
    std::atomic<bool> heard{false};
    std::atomic<Clock::rep> heardAt{0};
    auto began = Clock::now();
    auto started = recorder.start([&] {
      heardAt = Clock::now().time_since_epoch().count();
      heard = true;
    });
    auto startReturned = Clock::now();
    if (!started.ok()) {
      std::fprintf(stderr, "capture %d did not start\n", i);
      continue;
    }
    runUntil(
        loop, [&] { return heard.load(); }, 3s);
    runUntil(
        loop, [] { return false; }, 200ms);  // a short dictation
    recorder.stop();
    recorder.stopSession(true);
    runUntil(
        loop, [&] { return !recorder.stopInFlight(); }, 5s);
    auto facts = recorder.facts();
    if (!heard) {
      std::fprintf(stderr, "capture %d heard nothing\n", i);
      continue;
    }
    auto ms = [](Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); };
    figures.startCall.push_back(ms(startReturned - began));
    figures.firstAudio.push_back(ms(Clock::time_point(Clock::duration(heardAt.load())) - began));
    figures.startup.push_back(static_cast<double>(facts.startupMs));
    figures.micLive.push_back(static_cast<double>(facts.micLiveMs));
    figures.stop.push_back(static_cast<double>(facts.lastStopMs));
  }
  return figures;
}

}  // namespace

int main() {
  if (!test::PulseTestServer::available()) {
    std::printf("murvelo_bench_capture: pulseaudio is not installed; nothing measured\n");
    return 0;
  }
  Log::setSink(std::make_shared<StderrLogSink>(LogLevel::error));
  test::PulseTestServer server;
  if (!server.start()) {
    std::fprintf(stderr, "the test server did not start:\n%s\n", server.log().c_str());
    return 1;
  }
  if (!server.pactl(
          {"load-module", "module-sine-source", "source_name=mic", "rate=48000", "frequency=440"})) {
    std::fprintf(stderr, "the sine source did not load\n");
    return 1;
  }
  EventLoop loop;
  LinuxAudioRecorder::Options options;
  options.watchSleep = false;
  LinuxAudioRecorder audio(
      loop, [] { return MicrophoneSelection::device("mic"); }, options);

  measure(loop, audio.recorder(), false);  // the first start connects and configures
  print("warm: the session kept between captures", measure(loop, audio.recorder(), false));
  print("rebuilt: invalidated before every capture", measure(loop, audio.recorder(), true));
  return 0;
}
