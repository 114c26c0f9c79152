#include <sndfile.h>

#include <chrono>
#include <filesystem>
#include <iostream>

#include "base/EventLoop.h"
#include "base/Paths.h"
#include "base/ThreadTimer.h"
#include "base/linux/TempAudio.h"
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

// What is wrong with the audio file, if anything a cheap look can tell, so that a bad path fails
// before a model is loaded.
std::optional<std::string> audioFileProblem(const std::string& path) {
  std::error_code error;
  const auto type = std::filesystem::status(path, error).type();
  if (type == std::filesystem::file_type::not_found) return "audio file not found: " + path;
  if (type == std::filesystem::file_type::directory) return "audio path is a folder, not a file: " + path;
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (file == nullptr) return "cannot read the audio file " + path + ": " + sf_strerror(nullptr);
  sf_close(file);
  return std::nullopt;
}

}  // namespace

int runTranscribe(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({{"engine", "model"}, {}}, kUsage, exitCode);
  if (!args) return exitCode;
  if (args->positionals().size() != 1) return context.usageError("give exactly one audio FILE", kUsage);
  if (auto problem = audioFileProblem(args->positionals()[0])) return context.failure(*problem);
  if (auto temp = TempAudio::prepare(); !temp.error.empty())
    std::cerr << "murvelo-cli: recordings stay in " << Paths::tempAudioDir().string() << " (" << temp.error
              << ")\n";
  auto recognizer = recognizerFromOptions(context, *args, kUsage, exitCode);
  if (!recognizer) return exitCode;

  EventLoop loop;
  ThreadTimer timer;
  SpeechEngine engine(loop, timer, recognizer, Paths::tempAudioDir());
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
