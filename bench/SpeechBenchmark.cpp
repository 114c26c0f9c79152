// Key-up → text for dictations of 2, 5, 10 and 30 s: whisper (base.en architecture) streaming
// and file path, pocketsphinx streaming (and at 2 and 5 s its first dictation on a microphone never heard,
// and its first after a relaunch on one heard before); and the word
// error rate of pocketsphinx on the recorded test clips, streamed and from the file, side by side
// (--accuracy-only skips the timings; --whisper-only and --pocketsphinx-only one engine's part). Speech is
// recorded LibriVox speech (Debian's pocketsphinx-testdata), played at the pace of a microphone. Whisper runs
// a model with synthetic weights unless $MURVELO_WHISPER_MODEL names a real one: its words are nonsense, its
// work per second of audio is the real model's.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "accuracy/WER.h"
#include "audio/AudioConverter.h"
#include "audio/AudioFile.h"
#include "base/ManualLoop.h"
#include "base/ThreadTimer.h"
#include "base/Uuid.h"
#include "speech/SpeechEngine.h"
#include "speech/pocketsphinx/PocketSphinxRecognizer.h"
#include "speech/whisper/WhisperRecognizer.h"
#include "support/LibrivoxClips.h"
#include "tools/SyntheticWhisperModel.h"

namespace murvelo {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

using test::Clip;

template <typename Pred>
void pumpUntil(ManualLoop& loop, Pred done) {
  auto deadline = Clock::now() + 60s;
  while (!done() && Clock::now() < deadline) {
    loop.runUntilIdle();
    if (!done()) std::this_thread::sleep_for(200us);
  }
}

// One dictation at microphone pace; milliseconds from key-up to the streamed text (negative when
// the 3 s race was lost).
double streamOnce(SpeechEngine& engine, ManualLoop& loop, const std::vector<float>& samples48k,
                  std::string* text = nullptr) {
  auto live = std::make_shared<LiveBufferStream>(AudioFormat{48000, 1});
  engine.startStreaming(live);
  const std::size_t step = 960;  // 20 ms
  auto start = Clock::now();
  for (std::size_t at = 0, i = 0; at < samples48k.size(); at += step, ++i) {
    std::this_thread::sleep_until(start + i * 20ms);
    auto end = std::min(samples48k.size(), at + step);
    live->push(
        std::make_shared<const std::vector<float>>(samples48k.begin() + static_cast<std::ptrdiff_t>(at),
                                                   samples48k.begin() + static_cast<std::ptrdiff_t>(end)));
    loop.runUntilIdle();
  }
  live->finish();
  auto keyUp = Clock::now();
  std::optional<std::optional<std::string>> answer;
  engine.finishStreaming([&](std::optional<std::string> t) { answer = std::move(t); });
  pumpUntil(loop, [&] { return answer.has_value(); });
  double ms = std::chrono::duration<double, std::milli>(Clock::now() - keyUp).count();
  if (text && answer && *answer) *text = **answer;
  return answer && *answer ? ms : -ms;
}

// The streaming path's words without its clock: a 48 kHz microphone's 20 ms buffers through the
// engine's converter into a streaming session, finished without a race, so a busy machine cannot
// turn slowness into lost words.
std::string streamUntimed(Recognizer& recognizer, const std::vector<float>& samples48k) {
  std::string text;
  auto session = recognizer.makeSession(Recognizer::Mode::streaming, [&](std::string_view t) { text += t; });
  auto converter = AudioConverter::make(AudioFormat{48000, 1}, recognizer.analysisSampleRate());
  if (!session.ok() || !converter) return {};
  std::vector<float> converted;
  for (std::size_t at = 0; at < samples48k.size(); at += 960) {
    converted.clear();
    auto end = std::min(samples48k.size(), at + 960);
    converter->convert(std::span<const float>(samples48k.data() + at, end - at), converted);
    if (!converted.empty() && !session.value()->feed(converted)) return {};
  }
  converted.clear();
  converter->flush(converted);
  if (!converted.empty() && !session.value()->feed(converted)) return {};
  if (!session.value()->finish()) return {};
  return text;
}

double fileOnce(SpeechEngine& engine, ManualLoop& loop, const std::filesystem::path& wav,
                std::string* text = nullptr) {
  auto start = Clock::now();
  std::optional<Result<std::string, SpeechError>> result;
  engine.transcribe(wav, [&](Result<std::string, SpeechError> r) { result = std::move(r); });
  pumpUntil(loop, [&] { return result.has_value(); });
  if (text && result && result->ok()) *text = result->value();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double percentile(std::vector<double> values, double p) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(p * static_cast<double>(values.size() - 1) + 0.5)];
}

void report(const char* what, int seconds, const std::vector<double>& ms) {
  int lost = static_cast<int>(std::count_if(ms.begin(), ms.end(), [](double v) { return v < 0; }));
  std::vector<double> magnitude;
  for (double v : ms) magnitude.push_back(std::abs(v));
  std::printf("%-34s %3d s   p50 %7.0f ms   p90 %7.0f ms   max %7.0f ms   (%zu runs%s)\n", what, seconds,
              percentile(magnitude, 0.5), percentile(magnitude, 0.9), percentile(magnitude, 1.0), ms.size(),
              lost ? ", some lost the 3 s race" : "");
  std::fflush(stdout);
}

constexpr const char* kMicrophone = "bench-microphone";

// A recogniser as a relaunched program makes it: what earlier ones learned about the microphone is in
// `memory`.
std::shared_ptr<PocketSphinxRecognizer> relaunched(const std::filesystem::path& memory) {
  auto recognizer =
      std::make_shared<PocketSphinxRecognizer>(PocketSphinxRecognizer::defaultModelDirectory(), memory);
  recognizer->useMicrophone(kMicrophone);
  return recognizer;
}

// Pocketsphinx's word error rate per clip: streamed on one recogniser that heard the clips before, streamed
// on a fresh one, on one relaunched after the first, and from the file.
void printWordErrorRates(const std::vector<test::Clip>& recorded, SpeechEngine& sphinxEngine,
                         ManualLoop& loop, const std::filesystem::path& dir) {
  std::printf(
      "\npocketsphinx word error rate on the LibriVox clips (raw transcript, each clip one "
      "dictation;\nstreaming: 20 ms microphone buffers at 48 kHz, untimed, after the other clips "
      "were dictated;\nfirst: the same on a recogniser that has heard nothing yet;\nrelaunch: on a new "
      "recogniser that reads what the streaming one learned)\n");
  WER::Result streamTotal, firstTotal, relaunchTotal, fileTotal;
  // One recogniser hears every clip in turn, as a user dictates one sentence after another.
  const auto memory = dir / "wer-microphones";
  auto dictating = relaunched(memory);
  for (const auto& clip : recorded)
    if (auto samples = readAudioFile(clip.file, 48000); samples.ok())
      streamUntimed(*dictating, samples.value());
  for (const auto& clip : recorded) {
    auto samples = readAudioFile(clip.file, 48000);
    if (!samples.ok()) continue;
    PocketSphinxRecognizer fresh;
    // Relaunched first, so it starts where the streaming one starts this clip.
    std::string relaunch = streamUntimed(*relaunched(memory), samples.value()),
                streamed = streamUntimed(*dictating, samples.value()),
                first = streamUntimed(fresh, samples.value()), filed;
    fileOnce(sphinxEngine, loop, clip.file, &filed);
    auto s = WER::score(clip.transcript, streamed), f = WER::score(clip.transcript, filed),
         n = WER::score(clip.transcript, first), r = WER::score(clip.transcript, relaunch);
    streamTotal += s;
    firstTotal += n;
    relaunchTotal += r;
    fileTotal += f;
    std::printf("  %-46s streaming %5.1f %%  first %5.1f %%  relaunch %5.1f %%  file %5.1f %%\n",
                clip.file.filename().c_str(), 100 * s.errorRate(), 100 * n.errorRate(), 100 * r.errorRate(),
                100 * f.errorRate());
  }
  std::printf("  %-46s streaming %5.1f %%  first %5.1f %%  relaunch %5.1f %%  file %5.1f %%\n", "all clips",
              100 * streamTotal.errorRate(), 100 * firstTotal.errorRate(), 100 * relaunchTotal.errorRate(),
              100 * fileTotal.errorRate());
}

}  // namespace
}  // namespace murvelo

int main(int argc, char** argv) {
  using namespace murvelo;
  int runs = 3;
  bool timings = true, whisperToo = true, sphinxToo = true;
  for (int i = 1; i < argc; ++i) {
    if (std::string(argv[i]) == "--runs" && i + 1 < argc) runs = std::max(1, std::atoi(argv[i + 1]));
    if (std::string(argv[i]) == "--accuracy-only") timings = false;
    if (std::string(argv[i]) == "--pocketsphinx-only") whisperToo = false;
    if (std::string(argv[i]) == "--whisper-only") sphinxToo = false;
  }
  auto recorded = test::librivoxClips();
  if (recorded.empty()) {
    std::fprintf(stderr, "pocketsphinx-testdata is not installed\n");
    return 1;
  }
  // All the clips, one after another and again, as one long stretch of speech to cut utterances from.
  std::vector<float> speech;
  while (speech.size() < 30 * 48000)
    for (const auto& clip : recorded) {
      auto samples = readAudioFile(clip.file, 48000);
      if (!samples.ok()) return 1;
      speech.insert(speech.end(), samples.value().begin(), samples.value().end());
    }
  std::printf("load average %s",
              [] {
                std::ifstream in("/proc/loadavg");
                std::string line;
                std::getline(in, line);
                return line + "\n";
              }()
                  .c_str());
  auto dir = std::filesystem::temp_directory_path() / ("murvelo-bench-" + makeUuid());
  std::filesystem::create_directories(dir);
  std::filesystem::path model;
  if (const char* real = std::getenv("MURVELO_WHISPER_MODEL"); real && *real) {
    model = real;
  } else {
    model = dir / "ggml-base.en.bin";
    if (!SyntheticWhisperModel::write(model, SyntheticWhisperModel::Architecture::baseEn)) return 1;
  }
  int threads = WhisperRecognizer::defaultThreads();
  std::printf("whisper model %s, %d thread(s); %u cores\n", model.filename().c_str(), threads,
              std::thread::hardware_concurrency());

  ManualLoop loop;
  ThreadTimer timer;
  auto whisper = std::make_shared<WhisperRecognizer>(model, threads);
  if (!whisper->ensureAssets()) return 1;
  auto sphinx = std::make_shared<PocketSphinxRecognizer>();
  if (!sphinx->ensureAssets()) return 1;
  SpeechEngine whisperEngine(loop, timer, whisper, dir);
  SpeechEngine sphinxEngine(loop, timer, sphinx, dir);
  // What a launch before this one learned: the clips dictated once on the microphone.
  const auto memory = dir / "microphones";
  if (sphinxToo && timings) {
    auto earlier = relaunched(memory);
    for (const auto& clip : recorded)
      if (auto samples = readAudioFile(clip.file, 48000); samples.ok())
        streamUntimed(*earlier, samples.value());
  }

  for (int seconds : {2, 5, 10, 30}) {
    if (!timings) break;
    std::vector<float> utterance(speech.begin(),
                                 speech.begin() + std::min<std::ptrdiff_t>(seconds * 48000, speech.size()));
    auto wav = dir / "utterance.wav";
    writePcm16Wav(wav, convertAll(utterance, AudioFormat{48000, 1}, 16000), 16000);
    std::vector<double> streaming, file, sphinxStreaming;
    if (whisperToo)
      streamOnce(whisperEngine, loop,
                 std::vector<float>(utterance.begin(), utterance.begin() + 48000));  // warm
    if (sphinxToo && seconds <= 5) {
      // A recogniser that has heard nothing yet measures the microphone from this dictation.
      std::vector<double> first;
      for (int i = 0; i < runs; ++i) {
        auto recognizer = std::make_shared<PocketSphinxRecognizer>();
        if (!recognizer->ensureAssets()) return 1;
        SpeechEngine fresh(loop, timer, recognizer, dir);
        first.push_back(streamOnce(fresh, loop, utterance));
        fresh.waitUntilIdle(5s);
      }
      report("pocketsphinx first dictation", seconds, first);
      std::vector<double> afterRelaunch;
      for (int i = 0; i < runs; ++i) {
        auto recognizer = relaunched(memory);
        if (!recognizer->ensureAssets() || !recognizer->knowsMicrophone()) return 1;
        SpeechEngine later(loop, timer, recognizer, dir);
        afterRelaunch.push_back(streamOnce(later, loop, utterance));
        later.waitUntilIdle(5s);
      }
      report("pocketsphinx first after relaunch", seconds, afterRelaunch);
    }
    for (int i = 0; i < runs; ++i) {
      if (whisperToo) {
        streaming.push_back(streamOnce(whisperEngine, loop, utterance));
        file.push_back(fileOnce(whisperEngine, loop, wav));
      }
      if (sphinxToo) sphinxStreaming.push_back(streamOnce(sphinxEngine, loop, utterance));
    }
    if (whisperToo) {
      report("whisper streaming, key-up → text", seconds, streaming);
      report("whisper file path", seconds, file);
    }
    if (sphinxToo) report("pocketsphinx streaming, key-up → text", seconds, sphinxStreaming);
  }
  if (sphinxToo) printWordErrorRates(recorded, sphinxEngine, loop, dir);
  whisperEngine.waitUntilIdle(5s);
  sphinxEngine.waitUntilIdle(5s);
  std::filesystem::remove_all(dir);
  return 0;
}
