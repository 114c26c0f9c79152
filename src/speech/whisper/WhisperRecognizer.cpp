#include "speech/whisper/WhisperRecognizer.h"

#include <whisper.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <thread>

#include "base/Log.h"
#include "speech/PieceCutter.h"
#include "speech/SpeechActivity.h"
#include "speech/WhisperModelFile.h"
#include "speech/whisper/ComputeModules.h"

namespace murvelo {
namespace {

const Logger kLog("whisper");

// While the key is held, the worker looks for a piece to decode each time this much audio arrived.
constexpr double kCheckSeconds = 0.1;
// The end of the previous pieces' text goes with each piece as its prompt, so a sentence cut at a
// pause keeps its case and punctuation. Its tokens are decoded again before every piece, the last
// one after key-up: about a sentence is enough (200 characters cost 90 ms more on one thread).
constexpr std::size_t kPromptChars = 100;
// whisper.cpp needs a little more than this before it decodes anything.
constexpr double kMinDecodeSeconds = 1.05;

// whisper.cpp's own messages: only its errors are worth keeping, and they never hold words.
void forwardWhisperLog(ggml_log_level level, const char* text, void*) {
  if (level != GGML_LOG_LEVEL_ERROR || !text) return;
  std::string message(text);
  while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
  if (!message.empty()) kLog.error(message);
}

int tokenBudget(std::size_t samples) {
  double seconds = static_cast<double>(samples) / WhisperRecognizer::kSampleRate;
  // About three tokens a second is brisk speech; five leaves room for punctuation and numbers.
  return std::clamp(3 + static_cast<int>(std::ceil(5.0 * seconds)), 4, 220);
}

int encoderWindow(std::size_t samples, int modelWindow) {
  // One encoder position covers 20 ms; a little margin keeps the last word whole.
  int window = static_cast<int>(std::ceil(static_cast<double>(samples) / 320.0)) + 32;
  return window >= modelWindow ? 0 : window;
}

bool silent(std::span<const float> samples) {
  float peak = 0;
  for (float s : samples) peak = std::max(peak, std::abs(s));
  return 20 * std::log10(std::max(peak, 1e-9f)) < SpeechActivity::kSilenceDb;
}

class WhisperSession : public RecognitionSession {
 public:
  WhisperSession(WhisperRecognizer& owner, whisper_state* state, Recognizer::Mode mode,
                 Recognizer::ResultHandler onResult)
      : owner_(owner), state_(state), mode_(mode), onResult_(std::move(onResult)) {
    if (mode_ == Recognizer::Mode::streaming) worker_ = std::thread([this] { work(); });
  }

  ~WhisperSession() override {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
      abort_ = true;
    }
    changed_.notify_all();
    if (worker_.joinable()) worker_.join();
    owner_.releaseState(state_);
  }

  Status feed(std::span<const float> samples) override {
    {
      std::lock_guard lock(mutex_);
      if (!error_.empty()) return Status::error(error_);
      audio_.insert(audio_.end(), samples.begin(), samples.end());
    }
    changed_.notify_all();
    return Status::ok();
  }

  Status finish() override {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    changed_.notify_all();
    if (worker_.joinable()) worker_.join();
    if (!error_.empty()) return Status::error(error_);
    // Silence and steady noise give no text, whatever the model would make of them.
    if (!SpeechActivity::hasSpeech(audio_, WhisperRecognizer::kSampleRate)) return Status::ok();
    while (auto piece = cutter_.next(audio_, true)) {
      if (Status status = decodeCopy(copyOf(*piece)); !status) return status;
    }
    for (const auto& piece : pieces_) onResult_(piece);
    return Status::ok();
  }

 private:
  std::vector<float> copyOf(PieceCutter::Piece piece) {
    owner_.notePiece(piece.start, piece.end);
    return {audio_.begin() + static_cast<std::ptrdiff_t>(piece.start),
            audio_.begin() + static_cast<std::ptrdiff_t>(piece.end)};
  }

  std::string prompt() const {
    std::string text;
    for (const auto& piece : pieces_) text += piece;
    if (text.size() > kPromptChars) {
      std::size_t from = text.find(' ', text.size() - kPromptChars);
      text.erase(0, from == std::string::npos ? text.size() - kPromptChars : from + 1);
    }
    return text;
  }

  Status decodeCopy(std::vector<float> piece) {
    if (piece.size() < static_cast<std::size_t>(0.05 * WhisperRecognizer::kSampleRate) || silent(piece))
      return Status::ok();
    auto minimum = static_cast<std::size_t>(kMinDecodeSeconds * WhisperRecognizer::kSampleRate);
    if (piece.size() < minimum) piece.resize(minimum, 0.0f);
    std::string text;
    if (Status status = owner_.decode(state_, piece, &abort_, prompt(), text); !status) return status;
    pieces_.push_back(std::move(text));
    return Status::ok();
  }

  // The streaming worker: decodes each piece as soon as it ends in a pause.
  void work() {
    std::unique_lock lock(mutex_);
    const auto step = static_cast<std::size_t>(kCheckSeconds * WhisperRecognizer::kSampleRate);
    std::size_t checked = 0;
    while (true) {
      changed_.wait(lock, [&] { return stopping_ || audio_.size() >= checked + step; });
      if (stopping_) return;
      checked = audio_.size();
      auto piece = cutter_.next(audio_, false);
      if (!piece) continue;
      std::vector<float> copy = copyOf(*piece);
      lock.unlock();
      Status status = decodeCopy(std::move(copy));
      lock.lock();
      if (!status) {
        error_ = status.message();
        return;
      }
    }
  }

  WhisperRecognizer& owner_;
  whisper_state* state_;
  Recognizer::Mode mode_;
  Recognizer::ResultHandler onResult_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<float> audio_;
  PieceCutter cutter_{WhisperRecognizer::kSampleRate};
  std::vector<std::string> pieces_;
  std::string error_;
  bool stopping_ = false;
  std::atomic<bool> abort_{false};
  std::thread worker_;
};

}  // namespace

int WhisperRecognizer::defaultThreads() {
  if (const char* forced = std::getenv("MURVELO_WHISPER_THREADS")) {
    int threads = std::atoi(forced);
    if (threads > 0) return std::min(threads, 64);
  }
  int cores = static_cast<int>(std::thread::hardware_concurrency());
  return std::max(1, cores - 1);
}

WhisperRecognizer::WhisperRecognizer(std::filesystem::path model, int threads)
    : model_(std::move(model)), threads_(std::max(1, threads)) {}

WhisperRecognizer::~WhisperRecognizer() {
  for (auto* state : idleStates_) whisper_free_state(state);
  if (context_) whisper_free(context_);
}

Status WhisperRecognizer::ensureAssets() {
  std::lock_guard lock(mutex_);
  if (context_) return Status::ok();
  if (model_.empty()) return Status::error("no whisper model installed in " + model_.string());
  auto info = inspectWhisperModel(model_);
  if (!info.ok()) return Status::error(info.error());
  whisper_log_set(forwardWhisperLog, nullptr);
  const std::string modules = loadWhisperComputeModules();
  if (modules.empty())
    return Status::error("whisper's CPU modules (libggml-cpu-*.so) were not found beside the program");
  whisper_context_params params = whisper_context_default_params();
  params.use_gpu = false;
  try {
    context_ = whisper_init_from_file_with_params_no_state(model_.c_str(), params);
  } catch (const std::exception& error) {
    context_ = nullptr;
    return Status::error("whisper could not load the model " + model_.string() + ": " + error.what());
  }
  if (!context_) return Status::error("whisper could not load the model: " + model_.string());
  multilingual_ = whisper_is_multilingual(context_) != 0;
  kLog.info("whisper model loaded: " + model_.filename().string() + " (" + info.value().size() +
            (multilingual_ ? ", multilingual, forced to English" : ", English") + "), threads " +
            std::to_string(threads_) + ", CPU modules from " + modules);
  return Status::ok();
}

whisper_state* WhisperRecognizer::acquireState() {
  std::lock_guard lock(mutex_);
  if (!context_) return nullptr;
  if (!idleStates_.empty()) {
    whisper_state* state = idleStates_.back();
    idleStates_.pop_back();
    return state;
  }
  try {
    return whisper_init_state(context_);
  } catch (const std::exception&) {
    return nullptr;
  }
}

void WhisperRecognizer::releaseState(whisper_state* state) {
  if (!state) return;
  std::lock_guard lock(mutex_);
  idleStates_.push_back(state);
}

Result<std::unique_ptr<RecognitionSession>, std::string> WhisperRecognizer::makeSession(
    Mode mode, ResultHandler onResult) {
  if (Status status = ensureAssets(); !status) return status.message();
  whisper_state* state = acquireState();
  if (!state) return std::string("whisper could not allocate a decoder");
  return std::unique_ptr<RecognitionSession>(new WhisperSession(*this, state, mode, std::move(onResult)));
}

void WhisperRecognizer::notePiece(std::size_t start, std::size_t end) {
  std::lock_guard lock(mutex_);
  if (pieceObserver_) pieceObserver_(start, end);
}

void WhisperRecognizer::setPieceObserver(std::function<void(std::size_t, std::size_t)> observer) {
  std::lock_guard lock(mutex_);
  pieceObserver_ = std::move(observer);
}

Status WhisperRecognizer::decode(whisper_state* state, std::span<const float> samples,
                                 const std::atomic<bool>* abort, const std::string& prompt,
                                 std::string& text) {
  whisper_full_params params = whisper_full_default_params(WHISPER_SAMPLING_GREEDY);
  params.n_threads = threads_;
  params.language = "en";
  params.detect_language = false;
  params.translate = false;
  params.no_context = true;
  params.no_timestamps = true;
  params.single_segment = true;
  params.print_special = false;
  params.print_progress = false;
  params.print_realtime = false;
  params.print_timestamps = false;
  params.suppress_blank = true;
  params.suppress_nst = true;
  params.temperature = 0.0f;
  params.temperature_inc = 0.0f;  // no re-decoding at higher temperatures: time matters more
  params.greedy.best_of = 1;
  params.initial_prompt = prompt.empty() ? nullptr : prompt.c_str();
  params.max_tokens = tokenBudget(samples.size());
  params.audio_ctx = encoderWindow(samples.size(), whisper_n_audio_ctx(context_));
  params.abort_callback = [](void* flag) { return static_cast<const std::atomic<bool>*>(flag)->load(); };
  params.abort_callback_user_data = const_cast<std::atomic<bool>*>(abort);
  int rc = -1;
  try {
    rc = whisper_full_with_state(context_, state, params, samples.data(), static_cast<int>(samples.size()));
  } catch (const std::exception& error) {
    return Status::error(std::string("whisper decoding failed: ") + error.what());
  }
  if (rc != 0) return Status::error("whisper decoding failed (" + std::to_string(rc) + ")");
  text.clear();
  int segments = whisper_full_n_segments_from_state(state);
  for (int i = 0; i < segments; ++i) {
    const char* segment = whisper_full_get_segment_text_from_state(state, i);
    if (segment) text += segment;
  }
  return Status::ok();
}

}  // namespace murvelo
