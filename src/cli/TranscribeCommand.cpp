#include <chrono>

#include "base/EventLoop.h"
#include "base/Paths.h"
#include "base/ThreadTimer.h"
#include "cli/Commands.h"
#include "cli/SpeechOptions.h"
#include "speech/SpeechEngine.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli transcribe FILE [--engine auto|whisper|pocketsphinx] [--model PATH]\n"
    "Prints the raw transcript of an audio file (WAV, FLAC, any rate) on standard output.\n"
    "Without --engine the \"speechEngine\" setting decides; without --model whisper uses the best\n"
    "model in $XDG_DATA_HOME/murvelo/models (or $MURVELO_WHISPER_MODEL).\n";

const char* errorText(SpeechError error) {
  switch (error) {
    case SpeechError::notPrepared: return "the speech engine has no usable model";
    case SpeechError::fileUnreadable: return "the audio file cannot be read";
    case SpeechError::recognitionFailed: return "recognition failed";
  }
  return "recognition failed";
}

}  // namespace

int runTranscribe(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({{"engine", "model"}, {}}, kUsage, exitCode);
  if (!args) return exitCode;
  if (args->positionals().size() != 1) return context.usageError("give exactly one audio FILE", kUsage);
  auto recognizer = recognizerFromOptions(context, *args, kUsage, exitCode);
  if (!recognizer) return exitCode;

  EventLoop loop;
  ThreadTimer timer;
  SpeechEngine engine(loop, timer, recognizer, Paths::runtimeDir());
  std::optional<Result<std::string, SpeechError>> result;
  auto started = std::chrono::steady_clock::now();
  engine.transcribe(args->positionals()[0], [&](Result<std::string, SpeechError> answer) {
    result = std::move(answer);
    loop.quit();
  });
  loop.run();
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
  if (!result || !result->ok()) return context.failure(result ? errorText(result->error()) : "no answer");
  context.err() << "engine " << recognizer->name() << ", " << ms.count() << " ms\n";
  context.out() << result->value() << "\n";
  return kSuccess;
}

}  // namespace murvelo::cli
