#include "sim/SimulatedDevices.h"

#include <unicode/unistr.h>

#include <utility>

#include "base/Log.h"

namespace murvelo::sim {
namespace {

const Logger kSpeechLog("speech");

}  // namespace

// ---- recorder ----

Result<std::shared_ptr<LiveBufferStream>, RecorderError> SimulatedRecorder::start(
    std::function<void()> onFirstAudio) {
  ++starts_;
  if (recording_) stop();
  RecorderFacts facts = nextFacts_.value_or(RecorderFacts{});
  nextFacts_.reset();
  bool silent = silentNext_;
  silentNext_ = false;
  if (failNext_) {
    failNext_ = false;
    return RecorderError::noMicrophone;
  }
  ++generation_;
  facts_ = std::move(facts);
  if (facts_.deviceName.empty()) facts_.deviceName = "Built-in Microphone";
  if (facts_.deviceID.empty()) facts_.deviceID = "sim-built-in";
  facts_.isRecording = true;
  recording_ = true;
  silent_ = silent;
  startedAt_ = loop_.now();
  stream_ = std::make_shared<LiveBufferStream>(AudioFormat{kSampleRate, 1});
  if (!silent && onFirstAudio) {
    firstAudioTimer_ = loop_.postAfter(firstAudioAfter, [this, onFirstAudio = std::move(onFirstAudio)] {
      facts_.startupMs = std::chrono::duration_cast<std::chrono::milliseconds>(firstAudioAfter).count();
      onFirstAudio();
    });
  }
  return stream_;
}

CapturedAudio SimulatedRecorder::stop() {
  CapturedAudio captured;
  if (!recording_) return captured;
  recording_ = false;
  facts_.isRecording = false;
  loop_.cancel(firstAudioTimer_);
  if (stream_) stream_->finish();
  stream_.reset();
  captured.format = AudioFormat{kSampleRate, 1};
  if (!silent_) {
    auto heard = loop_.now() - startedAt_ - firstAudioAfter;
    auto samples = static_cast<std::size_t>(kSampleRate * kBufferLength.count() / 1000);
    for (auto at = Duration::zero(); at < heard; at += kBufferLength)
      captured.buffers.push_back(std::make_shared<const std::vector<float>>(samples, 0.1f));
  }
  std::int64_t generation = generation_;
  auto settleMs = std::chrono::duration_cast<std::chrono::milliseconds>(stopSettlesAfter).count();
  facts_.lastStopMs = settleMs;
  loop_.postAfter(stopSettlesAfter, [this, generation, settleMs] {
    if (settled_) settled_(generation, settleMs);
  });
  return captured;
}

void SimulatedRecorder::stopSession(bool) {}

Result<std::optional<std::filesystem::path>, RecorderError> SimulatedRecorder::writeWAV(
    const CapturedAudio& captured) {
  std::size_t samples = 0;
  for (const auto& buffer : captured.buffers) samples += buffer->size();
  if (!captured.format || samples <= captured.format->sampleRate / 4)
    return std::optional<std::filesystem::path>();
  // Never touches the disk: the simulated recogniser does not read it.
  return std::optional<std::filesystem::path>("/nonexistent/murvelo-sim/qlx-" + std::to_string(generation_) +
                                              ".wav");
}

// ---- speech ----

void SimulatedSpeech::setFinalizeLimit(bool on) {
  if (on && !coordinator_)
    coordinator_ = std::make_unique<StreamingFinalizationCoordinator>(loop_);
  else if (!on)
    coordinator_.reset();
}

ScriptedAnswer SimulatedSpeech::next(std::deque<ScriptedAnswer>& answers) {
  if (answers.empty()) return ScriptedAnswer::says("", Duration::zero());
  ScriptedAnswer answer = std::move(answers.front());
  answers.pop_front();
  return answer;
}

void SimulatedSpeech::prepare(std::function<void(Status)> done) {
  loop_.post([done = std::move(done)] { done(Status::ok()); });
}

void SimulatedSpeech::startStreaming(std::shared_ptr<LiveBufferStream>) {
  skipped_ = coordinator_ && coordinator_->isQuarantined();
  if (skipped_) {
    kSpeechLog.info("streaming finalizer still quarantined — WAV fallback only");
    return;
  }
  ++openSessions_;
}

void SimulatedSpeech::finishStreaming(std::function<void(std::optional<std::string>)> done) {
  if (openSessions_ == 0) {
    loop_.post([done = std::move(done)] { done(std::nullopt); });
    return;
  }
  --openSessions_;
  ScriptedAnswer answer = next(streamAnswers_);
  if (!coordinator_) {
    if (answer.text)
      loop_.postAfter(answer.after, [done = std::move(done), text = *answer.text] { done(text); });
    return;
  }
  // The stream ends on its own clock from key-up, whether or not its race has begun.
  struct Stream {
    std::optional<std::string> text;
    StreamingFinalizationCoordinator::Finished waiter;
  };
  auto stream = std::make_shared<Stream>();
  if (answer.text)
    loop_.postAfter(answer.after, [stream, text = *answer.text] {
      stream->text = text;
      if (auto waiter = std::exchange(stream->waiter, nullptr)) waiter(text);
    });
  MainLoop& loop = loop_;
  coordinator_->race(
      [stream](StreamingFinalizationCoordinator::Finished finished) {
        if (stream->text)
          finished(*stream->text);
        else
          stream->waiter = std::move(finished);
      },
      kFinalizeLimit,
      [&loop, done = std::move(done)](RaceOutcome outcome) {
        if (outcome.kind == RaceOutcome::Kind::timedOut)
          kSpeechLog.warning("streaming finalize timed out after 3s → WAV fallback");
        loop.post([done, outcome] {
          done(outcome.kind == RaceOutcome::Kind::completed ? std::optional<std::string>(outcome.text)
                                                            : std::nullopt);
        });
      });
}

void SimulatedSpeech::cancelStreaming() {
  if (openSessions_ > 0) --openSessions_;
}

void SimulatedSpeech::transcribe(const std::filesystem::path&,
                                 std::function<void(Result<std::string, SpeechError>)> done) {
  ++transcriptions_;
  ScriptedAnswer answer = next(fileAnswers_);
  if (!answer.text) return;
  loop_.postAfter(answer.after, [done = std::move(done), text = *answer.text] { done(text); });
}

// ---- cursor and clipboard ----

void SimulatedCursor::read(std::function<void(CursorContext)> done) {
  CursorContext context = preceding ? CursorContext::fromText(*preceding) : CursorContext::unavailable();
  loop_.post([done = std::move(done), context] { done(context); });
}

TextInserter::Outcome SimulatedInserter::insert(std::string_view text, bool autoPaste, std::int64_t run) {
  Outcome outcome = autoPaste && !pasteDenied ? Outcome::pastedAtCursor : Outcome::copiedToClipboard;
  deliveries_.push_back({std::string(text), outcome, run});
  if (onDeliver) onDeliver(deliveries_.back());
  return outcome;
}

}  // namespace murvelo::sim
