#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app/AppEnvironment.h"
#include "app/SetupChecks.h"
#include "app/TalkKeyService.h"
#include "base/ThreadTimer.h"
#include "delivery/ClipboardRestorer.h"
#include "delivery/ClipboardTextInserter.h"
#include "delivery/KeyPoster.h"
#include "delivery/atspi/AtspiCursorContextReader.h"
#include "hotkey/KeySource.h"

namespace murvelo {
class LinuxAudioRecorder;
}

namespace murvelo::desktop {

// The dictation core over this session's real back-ends: PulseAudio capture, the configured
// speech engine, the focused field over AT-SPI, paste through the clipboard, and the talk key.
// Whatever the session lacks is reported, never fatal.
class DictationBackends {
 public:
  DictationBackends(MainLoop& loop, DefaultsStore& defaults, int processId);
  ~DictationBackends();
  DictationBackends(const DictationBackends&) = delete;
  DictationBackends& operator=(const DictationBackends&) = delete;

  AppEnvironment& env() { return *env_; }
  MainLoop& loop() { return loop_; }
  Recorder& recorder();
  DictationController& controller() { return env_->controller(); }
  // None when nothing can watch the talk key in this session; `keySourceProblem` says why.
  TalkKeyService* talkKey() { return talkKey_.get(); }
  const std::string& keySourceProblem() const { return keySourceProblem_; }

  // Starts the talk key (which warms the speech engine once it listens); without a key source
  // the engine is warmed at once, so requests from murvelo-cli stream too.
  void start();

  bool recorderAvailable();
  bool mayPostEvents() { return keys_->mayPostEvents(); }
  SessionKind session() const { return session_; }
  // What the first-start guide shows about the keys.
  TalkKeyFacts talkKeyFacts();
  PostingFacts postingFacts();

  // Builds the recogniser for the current engine setting and installed models off the main
  // thread, then hands it to the engine for the next dictation. The engine setting calls it; so
  // does the model manager after an install or a removal.
  void reloadRecognizer();
  // The whisper model the engine uses now; none while it uses pocketsphinx.
  const std::optional<std::filesystem::path>& modelInUse() const { return modelInUse_; }
  // Told on the main loop whenever the engine has a new recogniser.
  void setEngineObserver(std::function<void()> observer) { engineObserver_ = std::move(observer); }

 private:
  void prewarm();
  void useRecognizer(std::shared_ptr<Recognizer> recognizer);

  MainLoop& loop_;
  ThreadTimer timer_;
  std::unique_ptr<LinuxAudioRecorder> recorder_;
  std::unique_ptr<AtspiCursorContextReader> cursor_;
  std::unique_ptr<Clipboard> clipboard_;
  std::unique_ptr<KeyPoster> keys_;
  std::unique_ptr<ClipboardRestorer> restorer_;
  std::unique_ptr<ClipboardTextInserter> inserter_;
  std::unique_ptr<AppEnvironment> env_;
  std::unique_ptr<KeySource> keySource_;
  std::string keySourceProblem_;
  std::unique_ptr<TalkKeyService> talkKey_;
  bool warmed_ = false;
  SessionKind session_ = SessionKind::none;
  bool x11Keys_ = false;
  std::optional<std::filesystem::path> modelInUse_;
  std::function<void()> engineObserver_;
  std::uint64_t reloads_ = 0;  // the latest request wins
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  std::vector<std::thread> builders_;  // joined at the end
};

}  // namespace murvelo::desktop
