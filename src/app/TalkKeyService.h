#pragma once

#include <cstdint>
#include <functional>

#include "app/AppSettings.h"
#include "base/MainLoop.h"
#include "hotkey/HotkeyListener.h"

namespace murvelo {

class DefaultsStore;

// The application's side of the talk key: owns the listener over a key source, maps its reports
// to the dictation controller by recording mode, restarts it when the key setting changes, and
// checks that listening really works once the user has allowed it. Main thread only.
class TalkKeyService {
 public:
  static constexpr std::string_view kConfirmedKey = "QLX.inputMonitoringConfirmed";
  static constexpr int kLaunchArmBudgetSeconds = 45;

  struct Options {
    int processId = 0;  // for the registration log line
    // How long after a registration its verification runs.
    MainLoop::Duration verifyDelay = std::chrono::seconds(1);
  };

  TalkKeyService(MainLoop& loop, KeySource& source, AppSettings& settings, DefaultsStore& defaults,
                 Options options);
  TalkKeyService(MainLoop& loop, KeySource& source, AppSettings& settings, DefaultsStore& defaults)
      : TalkKeyService(loop, source, settings, defaults, Options()) {}
  ~TalkKeyService();
  TalkKeyService(const TalkKeyService&) = delete;
  TalkKeyService& operator=(const TalkKeyService&) = delete;

  // The controller the key drives, and its one-time warm-up; nullptr once it is gone.
  void setTarget(DictationKeyTarget* target, std::function<void()> prewarm = nullptr);
  void setListeningObserver(std::function<void(bool)> observer) { listeningObserver_ = std::move(observer); }

  // Stops the listener, starts it on the chosen key and publishes the result as `listening`.
  bool startListening();
  bool listening() const { return listening_; }
  // While another part of the interface captures the talk key itself.
  void pause();
  void resume();
  bool paused() const { return paused_; }

  // Starts listening so the permission can be seen in use, logs the facts, and schedules a
  // verification under a new generation. Returns that generation.
  std::int64_t registerForInputMonitoring();
  std::int64_t registrationGeneration() const { return registrationGeneration_; }
  void verifyInputMonitoringLive(std::int64_t generation);

  // Checks once a second for up to `budgetSeconds` that listening is live, restarting it while
  // the key is not held. `onLive` runs when it is; `onRevoked` when the budget runs out.
  void armWatchdog(int budgetSeconds, std::function<void()> onLive, std::function<void()> onRevoked);
  void cancelWatchdog();
  bool watchdogRunning() const { return watchdogTimer_ != 0; }

  // Whether the talk key is held, as the listener believes.
  bool keyDown() const { return listener_.keyDown(); }
  HotkeyListener& listener() { return listener_; }

 private:
  void publish(bool listening);
  void confirm();
  void watchdogCycle();

  MainLoop& loop_;
  KeySource& source_;
  AppSettings& settings_;
  DefaultsStore& defaults_;
  Options options_;
  TalkKeyMapping mapping_;
  HotkeyListener listener_;
  std::function<void()> prewarm_;
  std::function<void(bool)> listeningObserver_;
  AppSettings::ObserverId settingsObserver_ = 0;
  bool listening_ = false;
  bool paused_ = false;
  bool didPrewarm_ = false;
  std::int64_t registrationGeneration_ = 0;
  MainLoop::TimerId verifyTimer_ = 0;

  MainLoop::TimerId watchdogTimer_ = 0;
  int watchdogBudget_ = 0;
  int watchdogWaited_ = 0;
  std::function<void()> onLive_;
  std::function<void()> onRevoked_;
};

}  // namespace murvelo
