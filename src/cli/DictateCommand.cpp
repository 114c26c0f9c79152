#include <chrono>
#include <iostream>

#include "app/AppEnvironment.h"
#include "audio/AudioFile.h"
#include "audio/FilePlaybackRecorder.h"
#include "base/DefaultsStore.h"
#include "base/EventLoop.h"
#include "base/Paths.h"
#include "base/ThreadTimer.h"
#include "base/linux/TempAudio.h"
#include "cli/Commands.h"
#include "cli/SpeechOptions.h"
#include "delivery/CursorContextReader.h"
#include "delivery/atspi/AtspiCursorContextReader.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli dictate --wav FILE [--level none|light|format] [--before-cursor TEXT | "
    "--focused-field]\n"
    "                           [--engine auto|whisper|pocketsphinx] [--model PATH] [--realtime]\n"
    "Runs one dictation through the whole program without a desktop: FILE plays as the microphone\n"
    "(at its real pace with --realtime), the talk key goes down at its start and up at its end,\n"
    "and the delivered text is printed as one JSON string on standard output. --before-cursor is\n"
    "the text the focused field holds before the cursor; --focused-field reads the real focused field\n"
    "through the accessibility bus instead, as the desktop program does. Timings and the path the transcript "
    "took\n"
    "(streaming or file fallback) go to standard error.\n";

// The microphone as a capture device: 48 kHz, as most are.
constexpr double kCaptureRate = 48000;
// The shortest hold the controller accepts is 0.18 s; a fast playback still holds this long.
constexpr auto kMinimumHold = std::chrono::milliseconds(250);

class FixedCursor : public CursorContextReader {
 public:
  FixedCursor(MainLoop& loop, std::string before) : loop_(loop), before_(std::move(before)) {}
  void read(std::function<void(CursorContext)> done) override {
    loop_.post([done = std::move(done), context = CursorContext::fromText(before_)] { done(context); });
  }

 private:
  MainLoop& loop_;
  std::string before_;
};

class PrintingInserter : public TextInserter {
 public:
  explicit PrintingInserter(CommandContext& context) : context_(context) {}
  Outcome insert(std::string_view text, bool, std::int64_t) override {
    deliveredAt = std::chrono::steady_clock::now();
    delivered = true;
    context_.printJson(nlohmann::ordered_json(std::string(text)));
    return Outcome::pastedAtCursor;
  }
  bool delivered = false;
  std::chrono::steady_clock::time_point deliveredAt;

 private:
  CommandContext& context_;
};

}  // namespace

int runDictate(CommandContext& context) {
  int exitCode = kSuccess;
  auto args =
      context.parse({{"wav", "level", "before-cursor", "engine", "model"}, {"realtime", "focused-field"}},
                    kUsage, exitCode);
  if (!args) return exitCode;
  if (!args->positionals().empty())
    return context.usageError("unexpected argument " + args->positionals()[0], kUsage);
  if (args->flag("focused-field") && args->option("before-cursor"))
    return context.usageError("--before-cursor and --focused-field exclude each other", kUsage);
  auto wav = args->option("wav");
  if (!wav) return context.usageError("--wav FILE is required", kUsage);
  CleanupLevel level = CleanupLevel::light;
  if (auto text = args->option("level")) {
    auto parsed = parseCleanupLevel(*text);
    if (!parsed || *parsed == CleanupLevel::medium)
      return context.usageError("unknown level " + *text, kUsage);
    level = *parsed;
  }
  auto samples = readAudioFile(*wav, kCaptureRate);
  if (!samples.ok()) return context.failure(samples.error());
  // Before anything can write a recording, so that an interrupted run leaves none behind.
  if (auto temp = TempAudio::prepare(); !temp.error.empty())
    std::cerr << "murvelo-cli: recordings stay in " << Paths::tempAudioDir().string() << " (" << temp.error
              << ")\n";
  auto recognizer = recognizerFromOptions(context, *args, kUsage, exitCode);
  if (!recognizer) return exitCode;

  // The user's own settings and history are left alone: this run keeps its own.
  InMemoryDefaultsStore defaults;
  EventLoop loop;
  ThreadTimer timer;
  std::function<void()> keyUp;
  FilePlaybackRecorder recorder(std::move(samples.value()), kCaptureRate, args->flag("realtime"),
                                Paths::tempAudioDir(), [&loop, &keyUp] { loop.post([&keyUp] { keyUp(); }); });
  FixedCursor fixedCursor(loop, args->option("before-cursor").value_or(""));
  AtspiCursorContextReader focusedCursor(&loop);
  CursorContextReader& cursor = args->flag("focused-field") ? static_cast<CursorContextReader&>(focusedCursor)
                                                            : static_cast<CursorContextReader&>(fixedCursor);
  PrintingInserter inserter(context);
  AppEnvironment app({.loop = loop,
                      .timer = timer,
                      .defaults = defaults,
                      .recorder = recorder,
                      .cursor = cursor,
                      .inserter = inserter,
                      .recognizer = recognizer,
                      .tempDir = Paths::tempAudioDir()});
  app.settings().setCleanupLevel(level);
  app.settings().setUseDictationEngine(true);
  DictationController& controller = app.controller();
  SpeechEngine& engine = *app.speechEngine();

  std::chrono::steady_clock::time_point keyDownAt, keyUpAt;
  bool released = false;
  keyUp = [&] {
    auto held = std::chrono::steady_clock::now() - keyDownAt;
    if (held < kMinimumHold) {
      loop.postAfter(kMinimumHold - held, [&] { keyUp(); });
      return;
    }
    keyUpAt = std::chrono::steady_clock::now();
    released = true;
    controller.keyUp();
  };
  // Checked after the change has settled: a status can change before its run is counted.
  controller.setStatusObserver([&](const DictationStatus&, bool) {
    loop.post([&] {
      if (released && controller.runID() > 0 && controller.inflightRuns().empty()) loop.quit();
    });
  });
  // Give up long after the controller's own watchdog would have.
  loop.postAfter(std::chrono::seconds(30) + std::chrono::duration_cast<std::chrono::seconds>(
                                                std::chrono::duration<double>(recorder.seconds())),
                 [&] { loop.quit(); });

  // As the program does at launch: load and warm the model before the first dictation.
  engine.warmUp([&](Status warmed) {
    if (!warmed) context.err() << "warm-up: " << warmed.message() << "\n";
    keyDownAt = std::chrono::steady_clock::now();
    controller.keyDown();
  });
  loop.run();

  auto trace = controller.stageTrace(controller.runID());
  bool fromFile = std::find(trace.begin(), trace.end(), "wav-transcribe") != trace.end();
  context.err() << "engine " << recognizer->name() << ", path " << (fromFile ? "file fallback" : "streaming");
  if (inserter.delivered)
    context.err()
        << ", key-up to text "
        << std::chrono::duration_cast<std::chrono::milliseconds>(inserter.deliveredAt - keyUpAt).count()
        << " ms";
  context.err() << "\n";
  engine.waitUntilIdle(std::chrono::seconds(5));
  if (!inserter.delivered) return context.failure("no words recognised");
  return kSuccess;
}

}  // namespace murvelo::cli
