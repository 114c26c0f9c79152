#include "speech/pocketsphinx/PocketSphinxRecognizer.h"

#include <err.h>
#include <pocketsphinx.h>
#include <sphinxbase/cmn.h>
#include <sphinxbase/fe.h>
#include <sphinxbase/feat.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <type_traits>

#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("pocketsphinx");

static_assert(std::is_same_v<mfcc_t, float>, "the recogniser keeps cepstra as float");

// The decoder normalises each cepstral coefficient by its mean. Over a whole recording that mean
// is exact; live, the decoder starts from the model's stock estimate, which is far from most
// microphones and cost about a third more wrong words on recorded speech. So the first streaming
// session on a microphone holds its first seconds back, measures their mean and starts the decoder
// from it (a dictation that ends sooner is analysed whole, exactly as a file would be); later
// sessions start at once from what the earlier ones learned.
constexpr double kLookAheadSeconds = 3.0;
constexpr std::size_t kLiveChunk = 320;  // 20 ms
// Less audio than this says more about the room than about the microphone.
constexpr std::size_t kLearnFromSamples = static_cast<std::size_t>(PocketSphinxRecognizer::kSampleRate);

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
      : owner_(owner), decoder_(decoder), mode_(mode), onResult_(std::move(onResult)) {
    if (mode_ == Recognizer::Mode::file) return;
    auto [known, microphone] = owner_.microphoneMean();
    microphone_ = microphone;
    // A stored mean of another length (another model) cannot be the decoder's.
    if (known && known->size() == static_cast<std::size_t>(ps_get_feat(decoder_)->cmn_struct->veclen)) {
      mean_ = std::move(*known);
      holding_ = false;
    }
  }

  ~PocketSphinxSession() override {
    if (started_) ps_end_utt(decoder_);
    owner_.releaseDecoder(decoder_);
    // The file is written as the session goes, once its text has been handed on.
    if (taught_) owner_.keepMicrophone(microphone_);
  }

  Status start() {
    if (ps_start_utt(decoder_) < 0) return Status::error("pocketsphinx could not start an utterance");
    started_ = true;
    if (!mean_.empty()) cmn_live_set(ps_get_feat(decoder_)->cmn_struct, mean_.data());
    return Status::ok();
  }

  Status feed(std::span<const float> samples) override {
    fed_ += samples.size();
    if (holding_) {
      pending_.insert(pending_.end(), samples.begin(), samples.end());
      if (mode_ == Recognizer::Mode::file ||
          pending_.size() < static_cast<std::size_t>(kLookAheadSeconds * PocketSphinxRecognizer::kSampleRate))
        return Status::ok();
      holding_ = false;
      auto pcm = toPcm16(pending_);
      pending_ = {};
      mean_ = meanOf(pcm);
      if (!mean_.empty()) cmn_live_set(ps_get_feat(decoder_)->cmn_struct, mean_.data());
      return process(pcm, false);
    }
    return process(toPcm16(samples), false);
  }

  Status finish() override {
    bool live = !holding_;
    if (holding_ && !pending_.empty()) {
      // The whole recording at once lets the decoder normalise over all of it.
      auto pcm = toPcm16(pending_);
      pending_ = {};
      // A live session before this one may have switched the decoder to live normalisation.
      ps_get_feat(decoder_)->cmn = cmn_type_from_str(cmd_ln_str_r(ps_get_config(decoder_), "-cmn"));
      if (Status status = process(pcm, true); !status) return status;
      if (mode_ == Recognizer::Mode::streaming && fed_ >= kLearnFromSamples) mean_ = meanOf(pcm);
    }
    holding_ = false;
    started_ = false;
    if (ps_end_utt(decoder_) < 0) return Status::error("pocketsphinx could not end the utterance");
    if (live && fed_ >= kLearnFromSamples) {
      // The decoder's running estimate: the carried one, moved towards this dictation's audio.
      mean_.assign(static_cast<std::size_t>(ps_get_feat(decoder_)->cmn_struct->veclen), 0);
      cmn_live_get(ps_get_feat(decoder_)->cmn_struct, mean_.data());
    }
    if (mode_ == Recognizer::Mode::streaming && fed_ >= kLearnFromSamples && !mean_.empty()) {
      owner_.learnMicrophone(mean_, microphone_);
      taught_ = true;
    }
    int32 score = 0;
    const char* hypothesis = ps_get_hyp(decoder_, &score);
    if (hypothesis && *hypothesis) onResult_(hypothesis);
    return Status::ok();
  }

 private:
  Status process(const std::vector<int16>& pcm, bool wholeRecording) {
    if (pcm.empty()) return Status::ok();
    if (wholeRecording) {
      if (ps_process_raw(decoder_, pcm.data(), pcm.size(), FALSE, TRUE) < 0)
        return Status::error("pocketsphinx could not process audio");
      return Status::ok();
    }
    // Live, the library takes a microphone's buffers: a long stretch in one call after a
    // whole-recording analysis on the same decoder overruns its live normalisation.
    cmn_t* cmn = ps_get_feat(decoder_)->cmn_struct;
    for (std::size_t at = 0; at < pcm.size(); at += kLiveChunk) {
      std::size_t count = std::min(kLiveChunk, pcm.size() - at);
      if (ps_process_raw(decoder_, pcm.data() + at, count, FALSE, FALSE) < 0)
        return Status::error("pocketsphinx could not process audio");
      // The library moves its estimate only every few seconds; following the running mean
      // frame by frame brought the live words within a word of the whole recording's.
      if (cmn->nframe > 0)
        for (int c = 0; c < cmn->veclen; ++c)
          cmn->cmn_mean[c] = cmn->sum[c] / static_cast<mfcc_t>(cmn->nframe);
    }
    return Status::ok();
  }

  // The mean of `pcm`'s frames, measured by a front end of its own so the decoder's stays
  // untouched; empty when there is none. Frames of digital silence are left out, as live
  // normalisation leaves them out.
  std::vector<mfcc_t> meanOf(const std::vector<int16>& pcm) {
    fe_t* fe = fe_init_auto_r(ps_get_config(decoder_));
    if (!fe) return {};
    int width = fe_get_output_size(fe);
    fe_start_utt(fe);
    const int16* in = pcm.data();
    std::size_t left = pcm.size();
    int32 frames = 0;
    fe_process_frames(fe, nullptr, &left, nullptr, &frames, nullptr);
    std::vector<mfcc_t> storage(static_cast<std::size_t>(frames + 1) * static_cast<std::size_t>(width));
    std::vector<mfcc_t*> rows(static_cast<std::size_t>(frames + 1));
    for (std::size_t i = 0; i < rows.size(); ++i)
      rows[i] = storage.data() + i * static_cast<std::size_t>(width);
    left = pcm.size();
    int32 made = frames;
    fe_process_frames(fe, &in, &left, rows.data(), &made, nullptr);
    fe_free(fe);
    std::vector<double> sum(static_cast<std::size_t>(width), 0.0);
    int counted = 0;
    for (int32 f = 0; f < made; ++f) {
      if (rows[static_cast<std::size_t>(f)][0] < 0) continue;
      for (int c = 0; c < width; ++c)
        sum[static_cast<std::size_t>(c)] += rows[static_cast<std::size_t>(f)][c];
      ++counted;
    }
    if (counted == 0) return {};
    std::vector<mfcc_t> mean(sum.size());
    for (std::size_t c = 0; c < sum.size(); ++c) mean[c] = static_cast<mfcc_t>(sum[c] / counted);
    return mean;
  }

  PocketSphinxRecognizer& owner_;
  ps_decoder_t* decoder_;
  Recognizer::Mode mode_;
  Recognizer::ResultHandler onResult_;
  bool started_ = false;
  bool holding_ = true;  // audio waits in `pending_` until the normalisation can be estimated
  std::vector<float> pending_;
  std::size_t fed_ = 0;
  int microphone_ = 0;
  bool taught_ = false;
  std::vector<mfcc_t> mean_;  // where the live normalisation starts; empty: the model's stock estimate
};

}  // namespace

std::filesystem::path PocketSphinxRecognizer::defaultModelDirectory() {
  if (const char* dir = std::getenv("MURVELO_POCKETSPHINX_MODEL_DIR"); dir && *dir) return dir;
  return "/usr/share/pocketsphinx/model/en-us";
}

PocketSphinxRecognizer::PocketSphinxRecognizer(std::filesystem::path modelDirectory,
                                               std::filesystem::path microphoneFile)
    : directory_(std::move(modelDirectory)), memory_(std::move(microphoneFile)) {}

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
                                 dict.c_str(), "-logfn", "/dev/null",
                                 // The later passes run at the end over the whole utterance, so
                                 // key-up would wait longer the longer one spoke; on recorded
                                 // speech the flat pass did not lower the error rate and the
                                 // lattice's best path raised it.
                                 "-fwdflat", "no", "-bestpath", "no", nullptr);
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

std::pair<std::optional<std::vector<float>>, int> PocketSphinxRecognizer::microphoneMean() {
  std::unique_lock lock(mutex_);
  if (!recalled_) {
    // The file is read outside the lock the decoders' hand-over takes.
    const int microphone = microphone_;
    const std::string device = device_;
    lock.unlock();
    auto stored = memory_.recall(device);
    lock.lock();
    if (microphone == microphone_) {
      recalled_ = true;
      if (!microphoneMean_) microphoneMean_ = std::move(stored);
    }
  }
  return {microphoneMean_, microphone_};
}

void PocketSphinxRecognizer::learnMicrophone(std::vector<float> mean, int microphone) {
  std::lock_guard lock(mutex_);
  if (microphone == microphone_) microphoneMean_ = std::move(mean);
}

void PocketSphinxRecognizer::keepMicrophone(int microphone) {
  std::string device;
  std::vector<float> mean;
  {
    std::lock_guard lock(mutex_);
    if (microphone != microphone_ || !microphoneMean_) return;
    device = device_;
    mean = *microphoneMean_;
  }
  memory_.remember(device, mean);
}

void PocketSphinxRecognizer::useMicrophone(const std::string& deviceID) {
  std::lock_guard lock(mutex_);
  if (deviceID == device_) return;
  microphoneMean_.reset();
  ++microphone_;
  device_ = deviceID;
  recalled_ = false;
}

bool PocketSphinxRecognizer::knowsMicrophone() { return microphoneMean().first.has_value(); }

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
