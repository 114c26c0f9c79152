#include "app/TalkKeyService.h"

#include "base/DefaultsStore.h"
#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("hotkey");

std::string boolText(bool value) { return value ? "true" : "false"; }

}  // namespace

TalkKeyService::TalkKeyService(MainLoop& loop, KeySource& source, AppSettings& settings,
                               DefaultsStore& defaults, Options options)
    : loop_(loop),
      source_(source),
      settings_(settings),
      defaults_(defaults),
      options_(options),
      mapping_([this] { return settings_.recordingMode(); }, nullptr),
      listener_(
          &source, settings.hotkey(), [this] { mapping_.onStart(); }, [this] { mapping_.onStop(); }) {
  settingsObserver_ = settings_.addObserver([this](AppSettings::Field field) {
    // A new key takes effect at once unless the user paused it or it was never started.
    if (field == AppSettings::Field::hotkey && listening_ && !paused_) startListening();
  });
}

TalkKeyService::~TalkKeyService() {
  settings_.removeObserver(settingsObserver_);
  cancelWatchdog();
  if (verifyTimer_) loop_.cancel(verifyTimer_);
  listener_.stop();
}

void TalkKeyService::setTarget(DictationKeyTarget* target, std::function<void()> prewarm) {
  mapping_ = TalkKeyMapping([this] { return settings_.recordingMode(); }, target);
  prewarm_ = std::move(prewarm);
}

bool TalkKeyService::startListening() {
  listener_.stop();
  listener_.setHotkey(settings_.hotkey());
  const bool created = listener_.start();
  paused_ = false;
  publish(created);
  kLog.info("startListening hotkey=" + std::string(rawValue(settings_.hotkey())) +
            " inputMonitoring=" + boolText(source_.mayListen()) + " tapCreated=" + boolText(created));
  if (!created && !source_.problem().empty()) kLog.warning("talk key: " + source_.problem());
  if (created && !didPrewarm_) {
    didPrewarm_ = true;
    if (prewarm_) prewarm_();
  }
  return created;
}

void TalkKeyService::pause() {
  listener_.stop();
  paused_ = true;
  publish(false);
  kLog.info("hotkey paused");
}

void TalkKeyService::resume() {
  startListening();
  kLog.info("hotkey resumed");
}

void TalkKeyService::publish(bool listening) {
  if (listening == listening_) return;
  listening_ = listening;
  if (listeningObserver_) listeningObserver_(listening);
}

void TalkKeyService::confirm() {
  if (defaults_.boolean(kConfirmedKey).value_or(false)) return;
  defaults_.setBool(kConfirmedKey, true);
}

std::int64_t TalkKeyService::registerForInputMonitoring() {
  const bool created = listener_.isListening() || startListening();
  kLog.info("registerForInputMonitoring tapCreated=" + boolText(created) +
            " armed=" + boolText(listener_.isLive()) + " inputMonitoring=" + boolText(source_.mayListen()) +
            " pid=" + std::to_string(options_.processId));
  const std::int64_t generation = ++registrationGeneration_;
  if (verifyTimer_) loop_.cancel(verifyTimer_);
  verifyTimer_ = loop_.postAfter(options_.verifyDelay, [this, generation] {
    verifyTimer_ = 0;
    verifyInputMonitoringLive(generation);
  });
  return generation;
}

void TalkKeyService::verifyInputMonitoringLive(std::int64_t generation) {
  if (generation != registrationGeneration_) {
    kLog.info("verifyInputMonitoringLive superseded gen=" + std::to_string(generation) +
              " now=" + std::to_string(registrationGeneration_));
    return;
  }
  const bool armed = listener_.isLive();
  kLog.info("verifyInputMonitoringLive armed=" + boolText(armed) +
            " preflight=" + boolText(source_.mayListen()));
  if (armed) confirm();
}

void TalkKeyService::armWatchdog(int budgetSeconds, std::function<void()> onLive,
                                 std::function<void()> onRevoked) {
  cancelWatchdog();
  watchdogBudget_ = budgetSeconds;
  watchdogWaited_ = 0;
  onLive_ = std::move(onLive);
  onRevoked_ = std::move(onRevoked);
  watchdogTimer_ = loop_.postAfter(std::chrono::seconds(1), [this] { watchdogCycle(); });
}

void TalkKeyService::cancelWatchdog() {
  if (watchdogTimer_) loop_.cancel(watchdogTimer_);
  watchdogTimer_ = 0;
}

void TalkKeyService::watchdogCycle() {
  watchdogTimer_ = 0;
  ++watchdogWaited_;
  if (listener_.isLive()) {
    confirm();
    kLog.info("armWatchdog: talk key live after ~" + std::to_string(watchdogWaited_) + "s");
    if (auto onLive = std::move(onLive_)) onLive();
    return;
  }
  if (watchdogWaited_ >= watchdogBudget_) {
    kLog.info("armWatchdog: never armed in " + std::to_string(watchdogBudget_) +
              "s \u2014 treating as revoked");
    if (auto onRevoked = std::move(onRevoked_)) onRevoked();
    return;
  }
  // Restarting while the key is held would lose its release.
  if (!listener_.keyDown() && !paused_) startListening();
  watchdogTimer_ = loop_.postAfter(std::chrono::seconds(1), [this] { watchdogCycle(); });
}

}  // namespace murvelo
