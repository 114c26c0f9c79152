#include "desktop/DesktopApp.h"

#include <QApplication>
#include <QClipboard>
#include <QProcess>
#include <chrono>

#include "app/AppSettings.h"
#include "app/LaunchPlan.h"
#include "app/LoginItem.h"
#include "app/Notices.h"
#include "app/SingleInstanceGuard.h"
#include "base/Diagnostics.h"
#include "base/Log.h"
#include "base/Paths.h"
#include "base/linux/FileDefaultsStore.h"
#include "delivery/atspi/AtspiStatus.h"
#include "desktop/DictationBackends.h"
#include "desktop/InstanceServer.h"
#include "desktop/QtMainLoop.h"
#include "desktop/RecordingHUD.h"
#include "desktop/SettingsWindow.h"
#include "desktop/SetupGuide.h"
#include "desktop/ToolWindows.h"
#include "desktop/TrayMenu.h"
#include "history/HistoryStore.h"
#include "speech/WhisperModelChoice.h"

namespace murvelo::desktop {
namespace {

const Logger kLog("app");
constexpr int kHandOverTimeoutMs = 1000;
constexpr std::string_view kConfirmedKey = "QLX.inputMonitoringConfirmed";

std::string yesNo(bool value) { return value ? "true" : "false"; }

double epochSeconds() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

Status spawnDetached(const std::string& program, const std::vector<std::string>& args) {
  QProcess process;
  process.setProgram(QString::fromStdString(program));
  QStringList list;
  for (const auto& arg : args) list << QString::fromStdString(arg);
  process.setArguments(list);
  process.setStandardOutputFile(QProcess::nullDevice());
  process.setStandardErrorFile(QProcess::nullDevice());
  if (!process.startDetached()) return Status::error(process.errorString().toStdString());
  return Status::ok();
}

}  // namespace

DesktopApp::DesktopApp(Options options) : options_(std::move(options)) {}

DesktopApp::~DesktopApp() {
  // The panel and windows observe the settings and the model: they go first.
  guide_.reset();
  if (dictation_ && dictation_->talkKey()) dictation_->talkKey()->setListeningObserver(nullptr);
  settingsWindow_.reset();
  tools_.reset();
  tray_.reset();
  if (dictation_) dictation_->controller().setStatusObserver(nullptr);
  dictation_.reset();
  hudModel_.reset();
  hud_.reset();
}

std::optional<int> DesktopApp::launch() {
  Diagnostics::shared().record("app", "launch", "pid=" + std::to_string(options_.pid));

  instance_ = std::make_unique<InstanceServer>(Paths::instanceDir(options_.userId).string());
  switch (instance_->claim()) {
    case InstanceServer::Claim::claimed: break;
    case InstanceServer::Claim::otherRunning: {
      Diagnostics::shared().record("app", "secondInstance");
      std::string reply;
      if (InstanceServer::send(instance_->socketPath(), InstanceRequest::activate, kHandOverTimeoutMs,
                               reply)) {
        kLog.notice("another murvelo is running; asked it to show its settings");
        return 0;
      }
      kLog.error("another murvelo holds the instance lock but does not answer");
      return 1;
    }
    case InstanceServer::Claim::failed:
      // Dictation matters more than the single instance: carry on, without the socket.
      kLog.warning("single instance unavailable: " + instance_->problem());
      break;
  }

  auto store = FileDefaultsStore::open(Paths::defaultsFile());
  if (!store->movedAsideTo().empty())
    kLog.warning("the settings file did not parse; it was kept as " + store->movedAsideTo().string() +
                 " and the defaults apply");
  else if (!store->openStatus())
    kLog.warning("settings: " + store->openStatus().message());
  defaults_ = std::move(store);
  loop_ = std::make_unique<QtMainLoop>();
  dictation_ = std::make_unique<DictationBackends>(*loop_, *defaults_, options_.pid);
  settings_ = &dictation_->env().settings();
  history_ = &dictation_->env().history();

  SingleInstanceGuard::Process process{options_.pid, options_.programPath,
                                       qEnvironmentVariable("APPIMAGE").toStdString(),
                                       qEnvironmentVariable("APPDIR").toStdString()};
  guard_ = std::make_unique<SingleInstanceGuard>(*defaults_, process, epochSeconds, spawnDetached);
  loginItem_ = std::make_unique<LoginItem>(Paths::autostartDir(), guard_->relaunchTarget());

  tools_ = std::make_unique<ToolWindows>(*dictation_, *defaults_, [](const std::string& text) {
    QApplication::clipboard()->setText(QString::fromStdString(text));
  });
  hud_ = std::make_unique<RecordingHUD>([this] { return hudModel_->phase(); }, desktopPrefersReducedMotion());
  hudModel_ = std::make_unique<HUDModel>(hud_.get());
  tray_ = std::make_unique<TrayMenu>(TrayMenu::Hooks{
      [this] { togglePause(); },
      [this](CleanupLevel level) { settings_->setCleanupLevel(level); },
      [this] {
        std::vector<std::string> texts;
        for (const auto& item : history_->items()) texts.push_back(item.text);
        return texts;
      },
      [](const std::string& text) { QApplication::clipboard()->setText(QString::fromStdString(text)); },
      [this] { showSettings(); },
      [this] { tools_->saveSupportReport(); },
      [] { QApplication::quit(); },
  });
  tray_->addToolActions([this] { tools_->showHistory(); }, [this] { tools_->showAccuracyTest(); });
  settings_->addObserver([this](AppSettings::Field field) {
    if (field == AppSettings::Field::openAtLogin) applyLoginItem();
    if (field == AppSettings::Field::cleanupLevel) tray_->setLevel(settings_->cleanupLevel());
    refreshTray();
  });
  instance_->setHandler([this](InstanceRequest request) { return handle(request); });
  dictation_->controller().setStatusObserver(
      [this](const DictationStatus& status, bool microphoneReady) { showStatus(status, microphoneReady); });
  dictation_->start();
  if (auto* key = dictation_->talkKey()) key->setListeningObserver([this](bool) { refreshTray(); });
  if (!dictation_->talkKey())
    kLog.warning("the talk key cannot be watched here (" + dictation_->keySourceProblem() +
                 "); bind a key to murvelo-cli talk instead");
  else if (!dictation_->talkKey()->listening())
    kLog.warning("the talk key is not being watched yet; murvelo-cli talk still works");

  const bool translocated = guard_->isTranslocated();
  const bool listening = dictation_->talkKey() && dictation_->talkKey()->listening();
  kLog.notice("launch pid=" + std::to_string(options_.pid) +
              " mic=" + yesNo(dictation_->recorderAvailable()) + " inputMonitoring=" + yesNo(listening) +
              " postEvent=" + yesNo(dictation_->mayPostEvents()) +
              " onboardingComplete=" + yesNo(settings_->onboardingComplete()) + " onboardingFinished=" +
              yesNo(settings_->onboardingFinished()) + " translocated=" + yesNo(translocated));

  applyLoginItem();
  const bool resumeOnboarding = defaults_->boolean(SingleInstanceGuard::kResumeOnboardingKey).value_or(false);
  defaults_->remove(SingleInstanceGuard::kResumeOnboardingKey);
  const LaunchPlan plan =
      planLaunch({.microphoneAuthorised = dictation_->recorderAvailable(),
                  .inputMonitoring = listening,
                  .inputMonitoringConfirmed = defaults_->boolean(kConfirmedKey).value_or(false),
                  .translocated = translocated,
                  .resumeOnboarding = resumeOnboarding,
                  .onboardingComplete = settings_->onboardingComplete(),
                  .onboardingFinished = settings_->onboardingFinished()});
  if (plan.markInputMonitoringConfirmed) defaults_->setBool(kConfirmedKey, true);
  if (plan.markOnboardingComplete) settings_->setOnboardingComplete(true);
  if (plan.resetRelaunchCount) defaults_->setInteger(SingleInstanceGuard::kRelaunchCountKey, 0);
  dictation_->setEngineObserver([this] {
    if (settingsWindow_) settingsWindow_->models()->refresh();
  });

  trayHost_ = tray_->showIcon();
  tray_->setLevel(settings_->cleanupLevel());
  refreshTray();
  if (!trayHost_) sayNoTrayOnce();
  if (plan.openGuide) showGuide();
  return std::nullopt;
}

std::string DesktopApp::handle(InstanceRequest request) {
  switch (request) {
    case InstanceRequest::activate: showSettings(); return {};
    case InstanceRequest::talkStart:
    case InstanceRequest::talkStop:
    case InstanceRequest::talkToggle: return talk(request);
  }
  return "unknown request";
}

// A compositor's key binding stands in for the talk key: start and stop are its press and
// release, toggle a tap.
std::string DesktopApp::talk(InstanceRequest request) {
  DictationController& controller = dictation_->controller();
  const bool recording = controller.isRecording();
  switch (request) {
    case InstanceRequest::talkStart:
      if (!recording) controller.keyDown();
      break;
    case InstanceRequest::talkStop:
      if (recording) controller.keyUp();
      break;
    case InstanceRequest::talkToggle:
      if (recording)
        controller.keyUp();
      else
        controller.keyDown();
      break;
    default: break;
  }
  return {};
}

void DesktopApp::showSettings() {
  if (!settingsWindow_) {
    SettingsWindow::Services services;
    services.models.modelInUse = [this] { return dictation_->modelInUse(); };
    services.models.modelsChanged = [this] { dictation_->reloadRecognizer(); };
    services.openGuide = [this] { showGuide(); };
    settingsWindow_ = std::make_unique<SettingsWindow>(*settings_, std::move(services));
  }
  settingsWindow_->present();
}

void DesktopApp::showGuide() {
  // A guide that was closed let its microphone go: a new one starts fresh.
  if (guide_ && !guide_->isVisible()) guide_.reset();
  if (!guide_) {
    SetupGuide::Probes probes;
    probes.talkKey = [this] { return dictation_->talkKeyFacts(); };
    probes.accessibility = [] { return AtspiStatus::enabled(); };
    probes.enableAccessibility = [] { return AtspiStatus::setEnabled(true); };
    probes.postingKeys = [this] { return dictation_->postingFacts(); };
    probes.model = [this]() -> std::optional<std::string> {
      if (const auto& model = dictation_->modelInUse()) return WhisperModelChoice::modelName(*model);
      return std::nullopt;
    };
    probes.modelsChanged = [this] { dictation_->reloadRecognizer(); };
    guide_ = std::make_unique<SetupGuide>(*settings_, std::move(probes));
  }
  guide_->present();
}

void DesktopApp::showStatus(const DictationStatus& status, bool microphoneReady) {
  status_ = status;
  auto before = hudModel_->phase();
  hudModel_->update(status, microphoneReady);
  if (hudModel_->phase() != before) hud_->phaseChanged();
  refreshTray();
}

void DesktopApp::refreshTray() {
  const bool listening = dictation_->talkKey() && dictation_->talkKey()->listening();
  std::string text;
  switch (status_.kind) {
    case DictationStatus::Kind::idle:
      if (paused_)
        text = "Talk key paused";
      else if (!listening)
        text = "Talk key not listened to — use murvelo-cli talk";
      else
        text = "Ready — hold " + hotkeyLabel(settings_->hotkey()).toStdString() + " to dictate";
      break;
    case DictationStatus::Kind::recording: text = "Listening…"; break;
    case DictationStatus::Kind::transcribing:
    case DictationStatus::Kind::cleaning: text = "Cleaning up…"; break;
    case DictationStatus::Kind::message: text = status_.text; break;
  }
  tray_->setStatus(text, status_.is(DictationStatus::Kind::recording));
  tray_->setPaused(paused_);
  // Nothing to pause while no key source listens.
  tray_->pauseAction()->setEnabled(paused_ || listening);
}

void DesktopApp::applyLoginItem() {
  Status applied = loginItem_->apply(settings_->openAtLogin());
  if (!applied) kLog.warning("login item: " + applied.message());
}

void DesktopApp::sayNoTrayOnce() {
  kLog.notice("no tray host on this desktop: start murvelo again to open the settings");
  showStatus(DictationStatus::message(std::string(notices::kNoTray)), false);
  loop_->postAfter(notices::kMicrophoneProblem, [this] {
    if (status_ == DictationStatus::message(std::string(notices::kNoTray)))
      showStatus(DictationStatus::idle(), false);
  });
}

void DesktopApp::togglePause() {
  paused_ = !paused_;
  if (auto* key = dictation_->talkKey()) {
    if (paused_)
      key->pause();
    else
      key->resume();
  }
  kLog.notice(paused_ ? "hotkey paused" : "hotkey resumed");
  refreshTray();
}

}  // namespace murvelo::desktop
