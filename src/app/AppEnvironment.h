#pragma once

#include <filesystem>
#include <memory>

#include "app/AppSettings.h"
#include "app/DictationController.h"
#include "cleanup/CleanupStep.h"
#include "cleanup/CorrectionsDictionary.h"
#include "cleanup/DeterministicFormat.h"
#include "history/HistoryStore.h"
#include "speech/SpeechEngine.h"

namespace murvelo {

// The back-ends a program chose for the dictation core. Every reference must outlive the
// environment built on it.
struct AppBackends {
  MainLoop& loop;
  // Decides the speech engine's finalisation race; a timer thread in a program, the loop itself
  // on a manual clock.
  Timer& timer;
  DefaultsStore& defaults;
  Recorder& recorder;
  CursorContextReader& cursor;
  TextInserter& inserter;
  std::shared_ptr<Recognizer> recognizer;  // the speech engine's back-end
  std::filesystem::path tempDir;           // the speech engine's warm-up file goes here
  CaptureLifecycle* capture = nullptr;     // the recorder's settling, when it reports any
  // Replace the speech engine or the cleanup step (the simulator's speech, a test's cleaner).
  SpeechService* speech = nullptr;
  TranscriptCleaner* cleaner = nullptr;
};

// The dictation core assembled once for every program: settings, history, the user's
// corrections, the cleanup step, the speech engine and the controller over the chosen back-ends.
class AppEnvironment {
 public:
  explicit AppEnvironment(AppBackends backends);
  AppEnvironment(const AppEnvironment&) = delete;
  AppEnvironment& operator=(const AppEnvironment&) = delete;

  AppSettings& settings() { return settings_; }
  HistoryStore& history() { return history_; }
  CorrectionsDictionary& corrections() { return corrections_; }
  CleanupStep& cleanup() { return cleanup_; }
  // None when the back-ends brought their own speech service.
  SpeechEngine* speechEngine() { return engine_.get(); }
  DictationController& controller() { return *controller_; }

 private:
  AppSettings settings_;
  HistoryStore history_;
  CorrectionsDictionary corrections_;
  const cleanup::DeterministicFormat format_;
  CleanupStep cleanup_;
  std::unique_ptr<SpeechEngine> engine_;
  std::unique_ptr<DictationController> controller_;  // last: goes first, before what it drives
};

}  // namespace murvelo
