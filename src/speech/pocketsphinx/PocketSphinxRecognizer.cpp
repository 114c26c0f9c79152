#include "speech/pocketsphinx/PocketSphinxRecognizer.h"

#include <err.h>
#include <pocketsphinx.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("pocketsphinx");

std::vector<int16> toPcm16(std::span<const float> samples) {
  std::vector<int16> pcm(samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    float clipped = std::clamp(samples[i], -1.0f, 1.0f);
    pcm[i] = static_cast<int16>(std::lrint(clipped * 32767.0f));
  }
  return pcm;
}

class PocketSphinxSession : public RecognitionSession {
 public:
  PocketSphinxSession(PocketSphinxRecognizer& owner, ps_decoder_t* decoder, Recognizer::Mode mode,
                      Recognizer::ResultHandler onResult)
      : owner_(owner), decoder_(decoder), mode_(mode), onResult_(std::move(onResult)) {}

  ~PocketSphinxSession() override {
    if (started_) ps_end_utt(decoder_);
    owner_.releaseDecoder(decoder_);
  }

  Status start() {
    if (ps_start_utt(decoder_) < 0) return Status::error("pocketsphinx could not start an utterance");
    started_ = true;
    return Status::ok();
  }

  Status feed(std::span<const float> samples) override {
    if (mode_ == Recognizer::Mode::file) {
      pending_.insert(pending_.end(), samples.begin(), samples.end());
      return Status::ok();
    }
    auto pcm = toPcm16(samples);
    if (ps_process_raw(decoder_, pcm.data(), pcm.size(), FALSE, FALSE) < 0)
      return Status::error("pocketsphinx could not process audio");
    return Status::ok();
  }

  Status finish() override {
    if (mode_ == Recognizer::Mode::file && !pending_.empty()) {
      // The whole recording at once lets the decoder normalise over all of it.
      auto pcm = toPcm16(pending_);
      if (ps_process_raw(decoder_, pcm.data(), pcm.size(), FALSE, TRUE) < 0)
        return Status::error("pocketsphinx could not process audio");
    }
    started_ = false;
    if (ps_end_utt(decoder_) < 0) return Status::error("pocketsphinx could not end the utterance");
    int32 score = 0;
    const char* hypothesis = ps_get_hyp(decoder_, &score);
    if (hypothesis && *hypothesis) onResult_(hypothesis);
    return Status::ok();
  }

 private:
  PocketSphinxRecognizer& owner_;
  ps_decoder_t* decoder_;
  Recognizer::Mode mode_;
  Recognizer::ResultHandler onResult_;
  bool started_ = false;
  std::vector<float> pending_;
};

}  // namespace

std::filesystem::path PocketSphinxRecognizer::defaultModelDirectory() {
  if (const char* dir = std::getenv("MURVELO_POCKETSPHINX_MODEL_DIR"); dir && *dir) return dir;
  return "/usr/share/pocketsphinx/model/en-us";
}

PocketSphinxRecognizer::PocketSphinxRecognizer(std::filesystem::path modelDirectory)
    : directory_(std::move(modelDirectory)) {}

PocketSphinxRecognizer::~PocketSphinxRecognizer() {
  for (auto* decoder : idle_) ps_free(decoder);
}

ps_decoder_t* PocketSphinxRecognizer::makeDecoder() {
  // pocketsphinx reports everything it does on stderr unless told otherwise.
  err_set_logfp(nullptr);
  std::string hmm = (directory_ / "en-us").string();
  std::string lm = (directory_ / "en-us.lm.bin").string();
  std::string dict = (directory_ / "cmudict-en-us.dict").string();
  cmd_ln_t* config = cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", hmm.c_str(), "-lm", lm.c_str(), "-dict",
                                 dict.c_str(), "-logfn", "/dev/null", nullptr);
  if (!config) return nullptr;
  ps_decoder_t* decoder = ps_init(config);
  cmd_ln_free_r(config);
  return decoder;
}

Status PocketSphinxRecognizer::ensureAssets() {
  std::lock_guard lock(mutex_);
  if (ready_) return Status::ok();
  for (const char* part : {"en-us", "en-us.lm.bin", "cmudict-en-us.dict"}) {
    std::error_code error;
    if (!std::filesystem::exists(directory_ / part, error))
      return Status::error("pocketsphinx model missing: " + (directory_ / part).string());
  }
  ps_decoder_t* decoder = makeDecoder();
  if (!decoder) return Status::error("pocketsphinx could not load its model from " + directory_.string());
  idle_.push_back(decoder);
  ready_ = true;
  kLog.info("pocketsphinx model loaded from " + directory_.string());
  return Status::ok();
}

ps_decoder_t* PocketSphinxRecognizer::acquireDecoder() {
  {
    std::lock_guard lock(mutex_);
    if (!idle_.empty()) {
      ps_decoder_t* decoder = idle_.back();
      idle_.pop_back();
      return decoder;
    }
  }
  return makeDecoder();
}

void PocketSphinxRecognizer::releaseDecoder(ps_decoder_t* decoder) {
  if (!decoder) return;
  std::lock_guard lock(mutex_);
  idle_.push_back(decoder);
}

Result<std::unique_ptr<RecognitionSession>, std::string> PocketSphinxRecognizer::makeSession(
    Mode mode, ResultHandler onResult) {
  if (Status status = ensureAssets(); !status) return status.message();
  ps_decoder_t* decoder = acquireDecoder();
  if (!decoder) return std::string("pocketsphinx could not load its model");
  auto session = std::make_unique<PocketSphinxSession>(*this, decoder, mode, std::move(onResult));
  if (Status status = session->start(); !status) return status.message();
  return std::unique_ptr<RecognitionSession>(std::move(session));
}

}  // namespace murvelo
