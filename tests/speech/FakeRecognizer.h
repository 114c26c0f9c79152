#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "speech/Recognizer.h"

namespace murvelo::test {

// A recogniser whose answers the test scripts: the results each session delivers on finish, a
// failure at any step, or a finish that hangs until the test releases it.
class FakeRecognizer : public Recognizer {
 public:
  struct Script {
    Script(std::vector<std::string> results = {}, bool hangOnFinish = false, std::string feedError = {})
        : results(std::move(results)), hangOnFinish(hangOnFinish), feedError(std::move(feedError)) {}
    std::vector<std::string> results;
    bool hangOnFinish = false;
    std::string feedError;  // non-empty: feed() fails with it
  };

  double rate = 16000;
  Status assets = Status::ok();
  std::vector<Script> scripts;  // one per session, in order; the last one repeats

  std::string name() const override { return "fake"; }
  Status ensureAssets() override {
    std::lock_guard lock(mutex_);
    ++assetChecks_;
    return assets;
  }
  double analysisSampleRate() const override { return rate; }
  Result<std::unique_ptr<RecognitionSession>, std::string> makeSession(Mode mode,
                                                                       ResultHandler onResult) override;

  // Lets every hanging finish return.
  void release() {
    {
      std::lock_guard lock(mutex_);
      released_ = true;
    }
    changed_.notify_all();
  }

  struct Made {
    Mode mode;
    std::vector<float> samples;  // all that was fed
  };
  std::vector<Made> sessions() const {
    std::lock_guard lock(mutex_);
    return made_;
  }
  int assetChecks() const {
    std::lock_guard lock(mutex_);
    return assetChecks_;
  }

 private:
  class Session;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool released_ = false;
  int assetChecks_ = 0;
  std::vector<Made> made_;
};

class FakeRecognizer::Session : public RecognitionSession {
 public:
  Session(FakeRecognizer& owner, std::size_t index, Script script, ResultHandler onResult)
      : owner_(owner), index_(index), script_(std::move(script)), onResult_(std::move(onResult)) {}

  Status feed(std::span<const float> samples) override {
    if (!script_.feedError.empty()) return Status::error(script_.feedError);
    std::lock_guard lock(owner_.mutex_);
    auto& made = owner_.made_[index_].samples;
    made.insert(made.end(), samples.begin(), samples.end());
    return Status::ok();
  }
  Status finish() override {
    if (script_.hangOnFinish) {
      std::unique_lock lock(owner_.mutex_);
      owner_.changed_.wait(lock, [&] { return owner_.released_; });
    }
    for (const auto& result : script_.results) onResult_(result);
    return Status::ok();
  }

 private:
  FakeRecognizer& owner_;
  std::size_t index_;
  Script script_;
  ResultHandler onResult_;
};

inline Result<std::unique_ptr<RecognitionSession>, std::string> FakeRecognizer::makeSession(
    Mode mode, ResultHandler onResult) {
  std::lock_guard lock(mutex_);
  std::size_t index = made_.size();
  Script script = scripts.empty() ? Script{} : scripts[std::min(index, scripts.size() - 1)];
  made_.push_back({mode, {}});
  return std::unique_ptr<RecognitionSession>(
      new Session(*this, index, std::move(script), std::move(onResult)));
}

}  // namespace murvelo::test
