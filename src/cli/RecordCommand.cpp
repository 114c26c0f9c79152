#include <charconv>
#include <cmath>
#include <filesystem>

#include "app/AppSettings.h"
#include "audio/pulse/LinuxAudioRecorder.h"
#include "audio/WavWriter.h"
#include "base/EventLoop.h"
#include "cli/Commands.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli record --seconds S [--device ID] OUT.wav\n"
    "Captures S seconds from the microphone chosen in the settings (or the input ID, see\n"
    "murvelo-cli devices), writes them to OUT.wav as 16 kHz 16-bit mono, and prints\n"
    "{\"buffers\",\"frames\",\"sampleRate\",\"droppedZeroMs\",\"startupMs\",\"micLiveMs\",\"peakRMS\","
    "\"device\"}.\n"
    "Exits 1 when the microphone cannot start or the capture is a quarter of a second or shorter.\n";

constexpr double kMaxSeconds = 3600;

std::optional<double> parseSeconds(const std::string& text) {
  double value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value) || value <= 0 ||
      value > kMaxSeconds)
    return std::nullopt;
  return value;
}

const char* describe(RecorderError error) {
  switch (error) {
    case RecorderError::noMicrophone: return "no microphone could be started";
    case RecorderError::couldNotBuildBuffer: return "the audio buffer could not be created";
    case RecorderError::conversionFailed: return "the audio could not be converted";
    case RecorderError::fileError: return "the audio file could not be written";
  }
  return "the microphone failed";
}

}  // namespace

int runRecord(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({{"seconds", "device"}, {}}, kUsage, exitCode);
  if (!args) return exitCode;
  auto secondsText = args->option("seconds");
  if (!secondsText) return context.usageError("--seconds is required", kUsage);
  auto seconds = parseSeconds(*secondsText);
  if (!seconds)
    return context.usageError("--seconds takes a number of seconds above 0 (at most an hour)", kUsage);
  if (args->positionals().size() != 1) return context.usageError("give exactly one output file", kUsage);
  std::filesystem::path output = args->positionals()[0];
  if (auto device = args->option("device"); device && device->empty())
    return context.usageError("--device takes an input identifier", kUsage);

  AppSettings settings(context.defaults());
  MicrophoneSelection selection = settings.microphoneSelection();
  if (auto device = args->option("device")) selection = MicrophoneSelection::device(*device);

  EventLoop loop;
  LinuxAudioRecorder::Options options;
  options.watchSleep = false;
  LinuxAudioRecorder audio(
      loop, [selection] { return selection; }, options);
  AudioRecorder& recorder = audio.recorder();

  auto started = recorder.start(nullptr);
  if (!started.ok()) return context.failure(describe(started.error()));

  CapturedAudio captured;
  std::function<void()> settled = [&] {
    if (recorder.stopInFlight())
      loop.postAfter(std::chrono::milliseconds(5), settled);
    else
      loop.quit();
  };
  loop.postAfter(std::chrono::duration_cast<MainLoop::Duration>(std::chrono::duration<double>(*seconds)),
                 [&] {
                   captured = recorder.stop();
                   recorder.stopSession(true);
                   settled();
                 });
  loop.run();

  RecorderFacts facts = recorder.facts();
  std::uint64_t frames = 0;
  for (const auto& buffer : captured.buffers) frames += buffer->size();
  nlohmann::ordered_json summary;
  summary["buffers"] = captured.buffers.size();
  summary["frames"] = frames;
  summary["sampleRate"] = captured.format ? captured.format->sampleRate : 0.0;
  summary["droppedZeroMs"] = facts.droppedZeroMs;
  summary["startupMs"] = facts.startupMs;
  summary["micLiveMs"] = facts.micLiveMs;
  summary["peakRMS"] = facts.peakRMS;
  summary["device"] = facts.deviceID;
  // As after every dictation: the start-up time feeds the per-device history.
  if (!captured.buffers.empty()) settings.recordMicrophoneStartup(facts.deviceID, facts.startupMs);

  std::filesystem::path directory = output.parent_path().empty() ? "." : output.parent_path();
  auto written = writeWAV(captured, directory);
  context.printJson(summary);
  if (!written.ok()) return context.failure(describe(written.error()));
  if (!written.value())
    return context.failure("a quarter of a second of audio or less was captured; no file written");
  std::error_code error;
  std::filesystem::rename(*written.value(), output, error);
  if (error) {
    std::filesystem::remove(*written.value(), error);
    return context.failure("cannot write " + output.string());
  }
  return kSuccess;
}

}  // namespace murvelo::cli
