#include "desktop/DictationBackends.h"

// clang-format off
// Before any Qt header: Qt's keyword macros (emit) clash with the capture session's names.
#include "audio/pulse/LinuxAudioRecorder.h"
// clang-format on

#include <QClipboard>
#include <QGuiApplication>
#include <cstdlib>

#include "base/Diagnostics.h"
#include "base/Log.h"
#include "base/Paths.h"
#include "base/linux/TempAudio.h"
#include "delivery/uinput/UinputKeyPoster.h"
#include "delivery/x11/X11Clipboard.h"
#include "delivery/x11/X11KeyPoster.h"
#include "hotkey/linux/TalkKeyBackend.h"
#include "speech/engines/RecognizerFactory.h"
#include "speech/whisper/WhisperRecognizer.h"

namespace murvelo::desktop {
namespace {

const Logger kLog("app");
constexpr const char* kTextMime = "text/plain;charset=utf-8";

// What the recogniser learns about each microphone's sound, so a relaunch need not measure it again.
std::filesystem::path microphoneFile() { return Paths::stateDir() / "microphones"; }

// A session without an X display (Wayland without XWayland) still has Qt's clipboard; it carries
// text only, so only text comes back after a paste.
class QtClipboard : public Clipboard {
 public:
  QtClipboard() {
    QObject::connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, [this] { ++changes_; });
  }
  std::uint64_t changeCount(Deadline) override { return changes_; }
  std::vector<ClipboardItem> readItems() override {
    const QString text = QGuiApplication::clipboard()->text();
    if (text.isEmpty()) return {};
    return {ClipboardItem{{{kTextMime, text.toStdString()}}}};
  }
  bool writeText(std::string_view text, Deadline) override {
    QGuiApplication::clipboard()->setText(
        QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
    return true;
  }
  bool writeItems(const std::vector<ClipboardItem>& items, Deadline deadline) override {
    for (const auto& item : items)
      for (const auto& [type, data] : item.entries)
        if (type.rfind("text/plain", 0) == 0) return writeText(data, deadline);
    QGuiApplication::clipboard()->clear();
    return true;
  }
  void afterWrites(std::function<void()> job) override { job(); }

 private:
  std::uint64_t changes_ = 0;
};

// Where no keystroke can be posted, a dictation lands on the clipboard for the user to paste.
class NoKeyPoster : public KeyPoster {
 public:
  bool mayPostEvents() override { return false; }
  bool pasteBlockingModifierHeld() override { return false; }
  std::vector<std::string> focusedWindowClasses() override { return {}; }
  int postPasteChord(PasteKey) override { return 0; }
};

}  // namespace

DictationBackends::DictationBackends(MainLoop& loop, DefaultsStore& defaults, int processId) : loop_(loop) {
  // The microphone choice lives in the settings the environment owns, built below.
  recorder_ = std::make_unique<LinuxAudioRecorder>(loop, [this] {
    return env_ ? env_->settings().microphoneSelection() : MicrophoneSelection::builtIn();
  });
  cursor_ = std::make_unique<AtspiCursorContextReader>(&loop);

  const bool wayland = std::getenv("WAYLAND_DISPLAY") != nullptr;
  session_ = sessionKindFrom([](const char* name) -> const char* { return std::getenv(name); });
  if (auto x11 = X11Clipboard::open())
    clipboard_ = std::move(x11);
  else
    clipboard_ = std::make_unique<QtClipboard>();
  if (wayland)
    keys_ = UinputKeyPoster::open();
  else
    keys_ = X11KeyPoster::open();
  x11Keys_ = keys_ != nullptr && !wayland;
  if (!keys_) keys_ = UinputKeyPoster::open();
  if (!keys_) {
    kLog.warning("no way to post the paste keystroke here: dictations stay on the clipboard");
    keys_ = std::make_unique<NoKeyPoster>();
  }
  restorer_ = std::make_unique<ClipboardRestorer>(loop, *clipboard_, Diagnostics::shared());
  inserter_ = std::make_unique<ClipboardTextInserter>(loop, *restorer_, *keys_, Diagnostics::shared());

  // Before the first recording or warm-up file: a private folder that goes with this process.
  if (auto temp = TempAudio::prepare(); !temp.error.empty())
    kLog.warning("recordings stay in the runtime folder: " + temp.error);

  // The first engine is built here, so the first dictation never waits for it; later changes
  // of the setting or the models rebuild it in the background.
  AppSettings stored(defaults);
  auto recognizer = makeRecognizer(stored.speechEngine(), std::nullopt, microphoneFile());
  if (auto* whisper = dynamic_cast<WhisperRecognizer*>(recognizer.get())) modelInUse_ = whisper->model();
  env_ = std::make_unique<AppEnvironment>(AppBackends{.loop = loop,
                                                      .timer = timer_,
                                                      .defaults = defaults,
                                                      .recorder = recorder_->recorder(),
                                                      .cursor = *cursor_,
                                                      .inserter = *inserter_,
                                                      .recognizer = std::move(recognizer),
                                                      .tempDir = Paths::tempAudioDir(),
                                                      .capture = &recorder_->recorder()});
  env_->settings().resetUseDictationEngineForLaunch();
  inserter_->setExtraTerminalClasses(env_->settings().terminalWindowClasses());
  env_->settings().addObserver([this](AppSettings::Field field) {
    if (field == AppSettings::Field::terminalWindowClasses)
      inserter_->setExtraTerminalClasses(env_->settings().terminalWindowClasses());
    if (field == AppSettings::Field::speechEngine) reloadRecognizer();
  });
  env_->history().load();

  TalkKeyBackendChoice choice = makeTalkKeySource(loop);
  if (choice.source) {
    keySource_ = std::move(choice.source);
    talkKey_ = std::make_unique<TalkKeyService>(loop, *keySource_, env_->settings(), defaults,
                                                TalkKeyService::Options{.processId = processId});
    talkKey_->setTarget(&env_->controller(), [this] { prewarm(); });
    env_->controller().setTalkKeyQuery([this] { return talkKey_->keyDown(); });
  } else {
    keySourceProblem_ = choice.why;
  }
}

DictationBackends::~DictationBackends() {
  *alive_ = false;
  for (auto& builder : builders_) builder.join();
  // The key goes quiet first, then the controller and everything it drives.
  if (talkKey_) talkKey_->setTarget(nullptr);
  talkKey_.reset();
  keySource_.reset();
  env_.reset();
  inserter_.reset();
  restorer_.reset();
}

Recorder& DictationBackends::recorder() { return recorder_->recorder(); }

// A quick look: a server that is slow to answer must not hold up the launch; the first recording
// waits for it as long as it takes.
bool DictationBackends::recorderAvailable() {
  return recorder_->session().serverReachable(std::chrono::milliseconds(250));
}

void DictationBackends::start() {
  if (talkKey_ && talkKey_->startListening()) return;  // it warms the engine
  prewarm();
}

void DictationBackends::prewarm() {
  if (warmed_) return;
  warmed_ = true;
  SpeechEngine* engine = env_->speechEngine();
  if (!engine) return;
  // Streaming is only trusted once the engine has loaded and run once in this launch.
  engine->warmUp([this](Status warmed) {
    if (warmed)
      env_->settings().setUseDictationEngine(true);
    else
      kLog.warning("speech engine warm-up failed: " + warmed.message() +
                   "; dictation transcribes from a file");
  });
}

void DictationBackends::reloadRecognizer() {
  SpeechEngine* engine = env_->speechEngine();
  if (!engine) return;
  const std::uint64_t request = ++reloads_;
  const SpeechEngineChoice choice = env_->settings().speechEngine();
  // Loading a whisper model takes seconds: never on the main loop.
  builders_.emplace_back([this, alive = alive_, request, choice] {
    auto recognizer = makeRecognizer(choice, std::nullopt, microphoneFile());
    loop_.post([this, alive, request, recognizer = std::move(recognizer)]() mutable {
      if (*alive && request == reloads_) useRecognizer(std::move(recognizer));
    });
  });
}

void DictationBackends::useRecognizer(std::shared_ptr<Recognizer> recognizer) {
  SpeechEngine* engine = env_->speechEngine();
  auto* whisper = dynamic_cast<WhisperRecognizer*>(recognizer.get());
  modelInUse_ = whisper ? std::optional(whisper->model()) : std::nullopt;
  kLog.notice("speech engine now " + recognizer->name() +
              (modelInUse_ ? " (" + modelInUse_->filename().string() + ")" : std::string()));
  // Streaming waits until the new recogniser has run once, as at start-up.
  env_->settings().setUseDictationEngine(false);
  engine->setRecognizer(std::move(recognizer));
  engine->warmUp([this, alive = alive_, request = reloads_](Status warmed) {
    if (!*alive || request != reloads_) return;
    if (warmed) env_->settings().setUseDictationEngine(true);
  });
  if (engineObserver_) engineObserver_();
}

TalkKeyFacts DictationBackends::talkKeyFacts() {
  TalkKeyFacts facts;
  facts.session = session_;
  facts.listening = talkKey_ && talkKey_->listening();
  return facts;
}

PostingFacts DictationBackends::postingFacts() {
  PostingFacts facts;
  facts.session = session_;
  facts.xtest = x11Keys_ && keys_->mayPostEvents();
  facts.uinputWritable = UinputKeyPoster::writable();
  return facts;
}

}  // namespace murvelo::desktop
