#include "sim/ScenarioRunner.h"

#include <nlohmann/json.hpp>

#include "app/AppEnvironment.h"
#include "app/HotkeyListener.h"
#include "base/DefaultsStore.h"
#include "base/Log.h"
#include "base/ManualLoop.h"
#include "sim/SimulatedDevices.h"

namespace murvelo::sim {
namespace {

std::string quoted(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// Everything the simulation prints, stamped with virtual time since the start.
class Transcript : public LogSink {
 public:
  explicit Transcript(const ManualLoop& loop) : loop_(loop), start_(loop.now()) {}

  void write(const LogRecord& record) override {
    if (record.category == "controller") add("log " + std::string(record.message));
  }
  void add(const std::string& event) {
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(loop_.now() - start_).count();
    std::lock_guard lock(mutex_);
    lines_.push_back(std::to_string(ms) + " " + event);
  }
  MainLoop::TimePoint at(std::int64_t ms) const { return start_ + std::chrono::milliseconds(ms); }
  std::vector<std::string> lines() {
    std::lock_guard lock(mutex_);
    return lines_;
  }

 private:
  const ManualLoop& loop_;
  MainLoop::TimePoint start_;
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

class ScopedSink {
 public:
  explicit ScopedSink(std::shared_ptr<LogSink> sink) : previous_(Log::setSink(std::move(sink))) {}
  ~ScopedSink() { Log::setSink(previous_); }

 private:
  std::shared_ptr<LogSink> previous_;
};

}  // namespace

std::vector<std::string> runScenario(const std::vector<ScenarioStep>& steps,
                                     std::chrono::milliseconds settleLimit) {
  ManualLoop loop;
  auto transcript = std::make_shared<Transcript>(loop);
  ScopedSink sink(transcript);

  InMemoryDefaultsStore defaults;
  SimulatedRecorder recorder(loop);
  SimulatedSpeech speech(loop);
  SimulatedCursor cursor(loop);
  SimulatedInserter inserter;
  // The program's own assembly and cleanup, over simulated devices and speech.
  AppEnvironment app({.loop = loop,
                      .timer = loop,
                      .defaults = defaults,
                      .recorder = recorder,
                      .cursor = cursor,
                      .inserter = inserter,
                      .recognizer = nullptr,
                      .tempDir = {},
                      .capture = &recorder,
                      .speech = &speech});
  AppSettings& settings = app.settings();
  settings.setUseDictationEngine(true);
  HistoryStore& history = app.history();
  DictationController& controller = app.controller();

  inserter.onDeliver = [&](const SimulatedInserter::Delivery& delivery) {
    transcript->add("deliver " + quoted(delivery.text) + " " + std::string(outcomeName(delivery.outcome)));
  };
  history.addObserver([&] {
    if (!history.items().empty()) transcript->add("history " + quoted(history.items().front().text));
  });

  DictationStatus shown = controller.status();
  controller.setStatusObserver([&](const DictationStatus& status, bool) {
    if (status == shown) return;
    shown = status;
    std::string line = "status " + std::string(statusName(status.kind));
    if (status.is(DictationStatus::Kind::message)) line += " " + quoted(status.text);
    transcript->add(line);
  });

  TalkKeyMapping mapping([&] { return settings.recordingMode(); }, &controller);
  HotkeyListener listener(
      settings.hotkey(), [&] { mapping.onStart(); }, [&] { mapping.onStop(); });
  controller.setTalkKeyQuery([&] { return listener.keyDown(); });
  const int talkKey = keyCodeOf(settings.hotkey());

  auto advanceTo = [&](std::int64_t ms) {
    auto target = transcript->at(ms);
    if (target > loop.now()) loop.advance(target - loop.now());
    loop.runUntilIdle();
  };

  using Kind = ScenarioStep::Kind;
  for (const ScenarioStep& step : steps) {
    switch (step.kind) {
      case Kind::keyDown:
      case Kind::keyUp:
      case Kind::keyRepeat:
      case Kind::resync:
        advanceTo(step.atMs);
        if (step.kind == Kind::resync)
          listener.resynchronise(step.flag);
        else
          listener.handle({talkKey, step.kind == Kind::keyDown ? KeyEvent::Kind::press
                                    : step.kind == Kind::keyUp ? KeyEvent::Kind::release
                                                               : KeyEvent::Kind::repeat});
        break;
      case Kind::runUntil: advanceTo(step.atMs); break;
      case Kind::stream:
      case Kind::file: {
        ScriptedAnswer answer =
            step.hang ? ScriptedAnswer::hang()
                      : ScriptedAnswer::says(step.text, std::chrono::milliseconds(step.afterMs));
        if (step.kind == Kind::stream)
          speech.scriptStream(std::move(answer));
        else
          speech.scriptFile(std::move(answer));
        break;
      }
      case Kind::finalizeLimit: speech.setFinalizeLimit(step.flag); break;
      case Kind::micFail: recorder.failNextStart(); break;
      case Kind::micSilent: recorder.silenceNextCapture(); break;
      case Kind::micBluetooth: {
        RecorderFacts facts;
        facts.deviceName = step.text;
        facts.deviceID = "bluez_input." + step.text;
        facts.didRecordViaBluetooth = true;
        recorder.nextCaptureFacts(facts);
        break;
      }
      case Kind::micSubstituted: {
        RecorderFacts facts;
        facts.didSubstituteBuiltInMic = true;
        facts.bypassedDeviceName = step.text;
        recorder.nextCaptureFacts(facts);
        break;
      }
      case Kind::level: settings.setCleanupLevel(*parseCleanupLevel(step.text)); break;
      case Kind::cursor: cursor.preceding = step.text; break;
      case Kind::autoPaste: settings.setAutoPaste(step.flag); break;
      case Kind::pasteDenied: inserter.pasteDenied = step.flag; break;
      case Kind::mode: settings.setRecordingMode(*parseRecordingMode(step.text)); break;
    }
    loop.runUntilIdle();
  }

  // Let everything still under way play out.
  auto deadline = loop.now() + settleLimit;
  while (loop.hasPendingTimers()) {
    loop.runUntilIdle();
    if (!loop.advanceToNextTimer() || loop.now() > deadline) break;
  }
  loop.runUntilIdle();
  mapping.detach();
  return transcript->lines();
}

}  // namespace murvelo::sim
