#include "speech/SpeechEngine.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "audio/AudioConverter.h"
#include "audio/AudioFile.h"
#include "base/Log.h"
#include "base/Uuid.h"

namespace murvelo {
namespace {

const Logger kLog("speech");

constexpr auto kPumpWait = std::chrono::milliseconds(100);

}  // namespace

// What the engine's threads share with it, and may outlive it: the way back to the main loop,
// the asset state and the count of running analyses.
struct SpeechEngine::Shared {
  std::mutex mutex;
  std::condition_variable idle;
  MainLoop* loop = nullptr;  // cleared when the engine goes; later answers are dropped
  int running = 0;
  std::atomic<bool> assetsReady{false};
  std::shared_ptr<Recognizer> recognizer;

  void post(MainLoop::Job job) {
    std::lock_guard lock(mutex);
    if (loop) loop->post(std::move(job));
  }

  // Runs `work` on a thread of its own, counted while it runs.
  template <typename F>
  static void spawn(const std::shared_ptr<Shared>& shared, F work) {
    {
      std::lock_guard lock(shared->mutex);
      ++shared->running;
    }
    std::thread([shared, work = std::move(work)]() mutable {
      work();
      {
        std::lock_guard lock(shared->mutex);
        --shared->running;
      }
      shared->idle.notify_all();
    }).detach();
  }

  Status ensureAssets() {
    if (assetsReady.load()) return Status::ok();
    Status status = recognizer->ensureAssets();
    if (status) assetsReady.store(true);
    return status;
  }

  // The file path: all of the file through one analysis; the results joined as delivered.
  Result<std::string, SpeechError> transcribeFile(const std::filesystem::path& file) {
    if (Status status = ensureAssets(); !status) {
      kLog.error("speech assets failed: " + status.message());
      return SpeechError::notPrepared;
    }
    auto samples = readAudioFile(file, recognizer->analysisSampleRate());
    if (!samples.ok()) {
      kLog.error(samples.error());
      return SpeechError::fileUnreadable;
    }
    std::string text;
    auto session =
        recognizer->makeSession(Recognizer::Mode::file, [&text](std::string_view result) { text += result; });
    if (!session.ok()) {
      kLog.error("file analyze error: " + session.error());
      return SpeechError::recognitionFailed;
    }
    Status status = session.value()->feed(samples.value());
    if (status) status = session.value()->finish();
    if (!status) {
      kLog.error("file analyze error: " + status.message());
      return SpeechError::recognitionFailed;
    }
    return text;
  }
};

// One streaming analysis: its pump thread fills `text`; the finaliser waits for `done`.
struct SpeechEngine::StreamTask {
  std::mutex mutex;
  bool done = false;
  std::string text;
  StreamingFinalizationCoordinator::Finished onDone;
  std::atomic<bool> cancelled{false};

  void complete(std::string result) {
    StreamingFinalizationCoordinator::Finished waiter;
    {
      std::lock_guard lock(mutex);
      done = true;
      text = std::move(result);
      waiter = std::move(onDone);
      onDone = nullptr;
    }
    if (waiter) waiter(text);
  }

  void whenDone(StreamingFinalizationCoordinator::Finished finished) {
    std::string ready;
    {
      std::lock_guard lock(mutex);
      if (!done) {
        onDone = std::move(finished);
        return;
      }
      ready = text;
    }
    finished(std::move(ready));
  }

  void pump(Shared& shared, LiveBufferStream& buffers, AudioConverter& converter) {
    if (Status status = shared.ensureAssets(); !status) {
      kLog.error("streaming assets failed: " + status.message());
      complete({});
      return;
    }
    std::string collected;
    auto made = shared.recognizer->makeSession(
        Recognizer::Mode::streaming, [&collected](std::string_view result) { collected += result; });
    if (!made.ok()) {
      kLog.error("streaming analyze error: " + made.error());
      complete({});
      return;
    }
    RecognitionSession& session = *made.value();
    std::vector<float> converted;
    AudioBuffer buffer;
    while (!cancelled.load()) {
      LiveBufferStream::Wait got = buffers.next(buffer, kPumpWait);
      if (got == LiveBufferStream::Wait::timedOut) continue;
      converted.clear();
      bool ok = got == LiveBufferStream::Wait::buffer
                    ? buffer && converter.convert(std::span<const float>(*buffer), converted)
                    : converter.flush(converted);
      if (ok && !converted.empty()) {
        if (Status status = session.feed(converted); !status) {
          kLog.error("streaming analyze error: " + status.message());
          complete({});
          return;
        }
      }
      if (got == LiveBufferStream::Wait::finished) {
        if (Status status = session.finish(); !status) {
          kLog.error("streaming analyze error: " + status.message());
          complete({});
          return;
        }
        complete(std::move(collected));
        return;
      }
    }
    complete({});  // torn down without a result
  }
};

SpeechEngine::SpeechEngine(MainLoop& loop, Timer& timer, std::shared_ptr<Recognizer> recognizer,
                           std::filesystem::path tempDir)
    : loop_(loop),
      recognizer_(std::move(recognizer)),
      tempDir_(std::move(tempDir)),
      shared_(std::make_shared<Shared>()),
      finalization_(timer) {
  shared_->loop = &loop_;
  shared_->recognizer = recognizer_;
}

SpeechEngine::~SpeechEngine() {
  for (auto& stream : streams_)
    if (stream) stream->cancelled.store(true);
  waitUntilIdle(std::chrono::milliseconds(2000));
  retired_.push_back(shared_);
  for (auto& shared : retired_) {
    std::lock_guard lock(shared->mutex);
    shared->loop = nullptr;
  }
}

bool SpeechEngine::waitUntilIdle(std::chrono::milliseconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  auto idle = [deadline](Shared& shared) {
    std::unique_lock lock(shared.mutex);
    return shared.idle.wait_until(lock, deadline, [&] { return shared.running == 0; });
  };
  bool all = idle(*shared_);
  for (auto& shared : retired_) all = idle(*shared) && all;
  return all;
}

void SpeechEngine::setRecognizer(std::shared_ptr<Recognizer> recognizer) {
  // Running analyses keep their own shared state: the new recogniser gets a fresh one rather
  // than swapping a pointer under their feet.
  retired_.push_back(shared_);
  shared_ = std::make_shared<Shared>();
  shared_->loop = &loop_;
  shared_->recognizer = recognizer;
  recognizer_ = std::move(recognizer);
  if (recognizer_ && microphone_) recognizer_->useMicrophone(*microphone_);
}

void SpeechEngine::useMicrophone(const std::string& deviceID) {
  microphone_ = deviceID;
  if (recognizer_) recognizer_->useMicrophone(deviceID);
}

void SpeechEngine::prepare(std::function<void(Status)> done) {
  Shared::spawn(shared_, [shared = shared_, done = std::move(done)]() mutable {
    Status status = shared->ensureAssets();
    shared->post([done = std::move(done), status] { done(status); });
  });
}

void SpeechEngine::warmUp(std::function<void(Status)> done) {
  std::filesystem::path file = tempDir_ / ("qlx-warm-" + makeUuid() + ".wav");
  Shared::spawn(shared_, [shared = shared_, file, done = std::move(done)]() mutable {
    std::vector<float> silence(kWarmUpFrames, 0.0f);
    Status status = writePcm16Wav(file, silence, kWarmUpSampleRate);
    if (status) {
      auto result = shared->transcribeFile(file);  // only the loading matters, not the text
      if (!result.ok()) status = Status::error("warm-up transcription failed");
    }
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    shared->post([done = std::move(done), status] { done(status); });
  });
}

void SpeechEngine::startStreaming(std::shared_ptr<LiveBufferStream> buffers) {
  streamingSkippedForQuarantine_ = finalization_.isQuarantined();
  if (streamingSkippedForQuarantine_) {
    kLog.info("streaming finalizer still quarantined — WAV fallback only");
    streams_.push_back(nullptr);
    return;
  }
  double rate = recognizer_->analysisSampleRate();
  std::shared_ptr<AudioConverter> converter =
      buffers && rate > 0 ? AudioConverter::make(buffers->format(), rate) : nullptr;
  if (!converter) {
    kLog.error("streaming: no analysis format / converter");
    streams_.push_back(nullptr);
    return;
  }
  auto task = std::make_shared<StreamTask>();
  streams_.push_back(task);
  Shared::spawn(shared_, [shared = shared_, task, buffers = std::move(buffers), converter] {
    task->pump(*shared, *buffers, *converter);
  });
}

void SpeechEngine::finishStreaming(std::function<void(std::optional<std::string>)> done) {
  std::shared_ptr<StreamTask> task;
  if (!streams_.empty()) {
    task = std::move(streams_.front());
    streams_.pop_front();
  }
  if (!task) {
    loop_.post([done = std::move(done)] { done(std::nullopt); });
    return;
  }
  std::weak_ptr<Shared> weak = shared_;
  finalization_.race(
      [task](StreamingFinalizationCoordinator::Finished finished) { task->whenDone(finished); },
      kFinalizeLimit,
      [weak, done = std::move(done)](RaceOutcome outcome) {
        std::optional<std::string> text;
        if (outcome.kind == RaceOutcome::Kind::completed)
          text = std::move(outcome.text);
        else
          kLog.error("streaming finalize timed out after 3s → WAV fallback");
        if (auto shared = weak.lock()) shared->post([done, text] { done(text); });
      });
}

void SpeechEngine::cancelStreaming() {
  if (streams_.empty()) return;
  if (auto& task = streams_.front()) task->cancelled.store(true);
  streams_.pop_front();
}

void SpeechEngine::transcribe(const std::filesystem::path& file,
                              std::function<void(Result<std::string, SpeechError>)> done) {
  Shared::spawn(shared_, [shared = shared_, file, done = std::move(done)]() mutable {
    auto result = shared->transcribeFile(file);
    shared->post([done = std::move(done), result = std::move(result)]() mutable { done(std::move(result)); });
  });
}

}  // namespace murvelo
