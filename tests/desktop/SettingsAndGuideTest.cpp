// The settings window, its model manager and the first-start guide under the private X server,
// with private audio and accessibility servers and a loopback download server.
#include <gtest/gtest.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTreeWidget>
#include <future>

#include "app/SettingsTexts.h"
#include "base/DefaultsStore.h"
#include "base/Paths.h"
#include "delivery/atspi/AtspiStatus.h"
#include "desktop/DesktopApp.h"
#include "desktop/DesktopTestEnvironment.h"
#include "desktop/QtTestSupport.h"
#include "desktop/SettingsWindow.h"
#include "desktop/SetupGuide.h"
#include "desktop/SupportReportSaver.h"
#include "desktop/ToolWindows.h"
#include "speech/WhisperModelChoice.h"
#include "speech/whisper/ModelDownloader.h"
#include "support/AtspiSession.h"
#include "support/ChildProcess.h"
#include "support/PulseTestServer.h"
#include "support/RecordingLogSink.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo::desktop {
namespace {

using test::screenshot;
using test::spin;
using test::spinUntil;

int deviceRow(const SettingsWindow& window, const std::string& id) {
  const auto& entries = window.microphoneChoices().entries;
  for (std::size_t i = 0; i < entries.size(); ++i)
    if (entries[i].present && entries[i].selection == MicrophoneSelection::device(id))
      return static_cast<int>(i);
  return -1;
}

TEST(SettingsWindow, ChoicesAreWrittenAtOnceOutsideChangesShowAndTheMicrophoneMenuIsLive) {
  if (!test::PulseTestServer::available()) GTEST_SKIP() << "pulseaudio is not installed";
  test::PulseTestServer server;
  ASSERT_TRUE(server.start()) << server.log();
  InMemoryDefaultsStore defaults;
  AppSettings settings(defaults);
  SettingsWindow window(settings, {.models = {}, .openGuide = [] {}, .microphoneIntervalMs = 100});
  window.present();
  ASSERT_TRUE(spinUntil([&] { return window.isVisible(); }));

  window.hotkey()->setCurrentIndex(2);
  EXPECT_EQ(settings.hotkey(), HotkeyChoice::rightControl);
  window.autoPaste()->click();
  EXPECT_FALSE(settings.autoPaste());
  EXPECT_EQ(window.autoPasteSummary()->text().toStdString(), texts::kAutoPasteOff);
  for (const char* name : {"  Alacritty ", "alacritty", "", "Foot"}) window.addTerminal(name);
  EXPECT_EQ(settings.terminalWindowClasses(), (std::vector<std::string>{"alacritty", "foot"}));
  window.terminals()->item(0)->setText("wezterm");
  EXPECT_EQ(settings.terminalWindowClasses(), (std::vector<std::string>{"wezterm", "foot"}));
  screenshot(window, "settings-dictation");

  settings.setAutoPaste(true);
  settings.setTerminalWindowClasses({"kitty"});
  EXPECT_TRUE(window.autoPaste()->isChecked());
  EXPECT_EQ(window.autoPasteSummary()->text().toStdString(), texts::kAutoPasteOn);
  ASSERT_EQ(window.terminals()->count(), 1);
  EXPECT_EQ(window.terminals()->item(0)->text(), "kitty");
  window.tabs()->setCurrentIndex(2);
  screenshot(window, "settings-pasting");
  window.tabs()->setCurrentIndex(3);
  screenshot(window, "settings-speech");

  // A microphone that comes, is chosen, and goes.
  window.tabs()->setCurrentIndex(1);
  int module = server.loadModule("module-sine-source", "source_name=usbmic rate=48000 frequency=440");
  ASSERT_GE(module, 0);
  ASSERT_TRUE(spinUntil([&] { return deviceRow(window, "usbmic") >= 0; }));
  window.microphone()->setCurrentIndex(deviceRow(window, "usbmic"));
  EXPECT_EQ(settings.microphoneSelection(), MicrophoneSelection::device("usbmic"));
  ASSERT_TRUE(server.pactl({"unload-module", std::to_string(module)}));
  ASSERT_TRUE(
      spinUntil([&] { return window.microphone()->currentText() == MicrophoneChoices::kDisconnectedLabel; }));
  EXPECT_EQ(settings.microphoneSelection(), MicrophoneSelection::device("usbmic"))
      << "kept until the user chooses";
  screenshot(window, "settings-microphone-disconnected");
}

// Serves files; "slow-" names trickle out forever, "cut-" names stop halfway through.
constexpr const char* kServer = R"(import http.server, os, sys, time
root, portfile = sys.argv[1], sys.argv[2]
class Handler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *args): pass
    def send_head(self):
        name = os.path.basename(self.path)
        if not name.startswith(('slow-', 'cut-')):
            return super().send_head()
        self.send_response(200)
        self.send_header('Content-Length', str(1 << 24))
        self.end_headers()
        try:
            for _ in range(64 if name.startswith('cut-') else 100000):
                self.wfile.write(b'x' * 65536)
                time.sleep(0.05 if name.startswith('slow-') else 0)
        except OSError: pass
        self.close_connection = True
os.chdir(root)
server = http.server.ThreadingHTTPServer(('127.0.0.1', 0), Handler)
open(portfile + '.tmp', 'w').write(str(server.server_address[1]))
os.rename(portfile + '.tmp', portfile)
server.serve_forever()
)";

TEST(ModelManager, DownloadsWithProgressRefusesBadFilesCancelsAndDeletes) {
  test::TempDir temp;
  std::filesystem::create_directories(temp / "served");
  test::writeFile(temp / "server.py", kServer);
  test::writeFile(temp / "served" / "ggml-tiny.en.bin", std::string(2 * 1024 * 1024, 'm'));
  const std::string sha1 = ModelDownloader::sha1Of(temp / "served" / "ggml-tiny.en.bin");
  test::ChildProcess server;
  ASSERT_TRUE(server.start({"/usr/bin/python3", (temp / "server.py").string(), (temp / "served").string(),
                            (temp / "port").string()},
                           {}, temp / "server.log"));
  ASSERT_TRUE(spinUntil([&] { return std::filesystem::exists(temp / "port"); }));
  const std::string base = "http://127.0.0.1:" + test::readFile(temp / "port") + "/";

  // Which file each model name stands for in this test, and what it must hash to.
  std::map<std::string, ModelSource> sources = {
      {"tiny.en", {base + "ggml-tiny.en.bin", sha1, 0}},
      {"base.en", {base + "ggml-tiny.en.bin", std::string(40, '0'), 0}},
      {"small.en", {base + "cut-small.en.bin", sha1, 0}},
      {"medium.en", {base + "slow-medium.en.bin", sha1, 0}},
  };
  int changes = 0;
  const auto models = WhisperModelChoice::modelsDirectory();
  ModelManager manager({[&]() -> std::optional<std::filesystem::path> {
                          auto file = models / "ggml-tiny.en.bin";
                          return std::filesystem::exists(file) ? std::optional(file) : std::nullopt;
                        },
                        [&] { ++changes; },
                        [&](const std::string& name) -> std::optional<ModelSource> {
                          auto it = sources.find(name);
                          return it == sources.end() ? std::nullopt : std::optional(it->second);
                        }});
  manager.resize(520, 360);
  manager.show();
  struct Case {
    std::string name;
    bool installed;
    std::string says;
  };
  const Case cases[] = {
      {"tiny.en", true, "tiny.en is installed; its checksum matches"},
      {"base.en", false, "base.en was not installed: checksum mismatch"},
      {"small.en", false, "small.en was not installed: download failed"},
  };
  for (const auto& c : cases) {
    int before = changes;
    manager.download(c.name);
    ASSERT_TRUE(spinUntil([&] { return !manager.row()->busy(); }, 20000)) << c.name;
    EXPECT_EQ(std::filesystem::exists(models / ("ggml-" + c.name + ".bin")), c.installed) << c.name;
    EXPECT_TRUE(manager.row()->status()->text().startsWith(QString::fromStdString(c.says)))
        << c.name << ": " << manager.row()->status()->text().toStdString();
    EXPECT_EQ(changes, before + (c.installed ? 1 : 0)) << c.name;
  }
  ASSERT_EQ(manager.installedList()->topLevelItemCount(), 1) << "a partial file is no model";
  EXPECT_EQ(manager.installedList()->topLevelItem(0)->text(2), "in use");
  EXPECT_EQ(manager.offers()->findData("tiny.en"), -1) << "installed models are not offered";

  manager.download("medium.en");
  ASSERT_TRUE(spinUntil([&] { return manager.row()->bar()->value() > 0; }));
  screenshot(manager, "settings-model-downloading");
  manager.row()->cancelButton()->click();
  ASSERT_TRUE(spinUntil([&] { return !manager.row()->busy(); }));
  EXPECT_NE(manager.row()->status()->text().indexOf(ModelDownloader::kCancelled), -1);
  EXPECT_FALSE(std::filesystem::exists(models / "ggml-medium.en.bin.partial"));

  manager.installedList()->topLevelItem(0)->setSelected(true);
  manager.deleteButton()->click();
  EXPECT_FALSE(std::filesystem::exists(models / "ggml-tiny.en.bin"));
  EXPECT_EQ(manager.installedList()->topLevelItemCount(), 0);
  EXPECT_EQ(changes, 2);
  screenshot(manager, "settings-models");
}

TEST(SetupGuide, EveryCheckIsLive) {
  if (!test::PulseTestServer::available() || !test::AtspiSession::available())
    GTEST_SKIP() << "needs pulseaudio and the AT-SPI bus";
  test::PulseTestServer server;
  ASSERT_TRUE(server.start()) << server.log();
  ASSERT_GE(server.loadModule("module-sine-source", "source_name=usbmic rate=48000 frequency=440"), 0);
  test::AtspiSession atspi;
  ASSERT_TRUE(atspi.start());
  ASSERT_TRUE(AtspiStatus::setEnabled(false));

  InMemoryDefaultsStore defaults;
  AppSettings settings(defaults);
  settings.setMicrophoneSelection(MicrophoneSelection::device("usbmic"));
  SetupGuide::Probes probes;
  probes.talkKey = [] { return TalkKeyFacts{SessionKind::wayland, false, ""}; };
  probes.accessibility = [] { return AtspiStatus::enabled(); };
  probes.enableAccessibility = [] { return AtspiStatus::setEnabled(true); };
  probes.postingKeys = [] { return PostingFacts{SessionKind::wayland, false, false}; };
  probes.model = [] { return std::nullopt; };
  probes.microphoneIntervalMs = 100;
  SetupGuide guide(settings, probes);
  guide.present();

  CheckPage* microphone = guide.checkPage(SetupGuide::microphonePage);
  ASSERT_TRUE(spinUntil([&] { return microphone->outcome().ready(); }));
  EXPECT_NE(microphone->statusLabel()->text().indexOf("offers 3 microphones"), -1);
  ASSERT_TRUE(spinUntil([&] { return guide.levelMeter()->value() > 50; })) << "the sine source is loud";
  screenshot(guide, "guide-1-microphone");

  // What each check says is the setup checks' business; here: every page shows, and the one fix
  // the guide carries out itself works.
  for (auto id : {SetupGuide::talkKeyPage, SetupGuide::accessibilityPage, SetupGuide::postingPage,
                  SetupGuide::modelPage}) {
    guide.next();
    ASSERT_EQ(guide.currentId(), id);
    CheckPage* shown = guide.checkPage(id);
    EXPECT_EQ(shown->outcome().state, CheckOutcome::State::needsAction) << id;
    screenshot(guide, "guide-" + std::to_string(id + 1) + "-" +
                          shown->title().toLower().replace(' ', '-').toStdString());
    if (id == SetupGuide::accessibilityPage) {
      guide.enableAccessibilityButton()->click();
      EXPECT_TRUE(shown->outcome().ready()) << shown->outcome().status;
      EXPECT_EQ(AtspiStatus::enabled(), std::optional(true));
    }
  }

  // Back to the microphone while the audio server goes away: the page says so, with the fix.
  guide.restart();
  server.stop();
  ASSERT_TRUE(spinUntil([&] { return microphone->outcome().state == CheckOutcome::State::needsAction; }));
  EXPECT_NE(microphone->statusLabel()->text().indexOf("No audio server answers"), -1);
  EXPECT_TRUE(microphone->commandLine()->isVisible());
  EXPECT_TRUE(spinUntil([&] { return guide.levelMeter()->value() == 0; }));
  screenshot(guide, "guide-1-microphone-no-server");
}

// The program itself, in this process: its first start opens the guide, and a dictation through
// the real microphone path, speech engine, the user's own word and the paste keystroke lands in
// the guide's box; the support report of the run keeps it private.
TEST(SetupGuide, FirstStartOpensItAndADictationLandsInTheTryBox) {
  if (test::goForward().empty() || !test::PulseTestServer::available())
    GTEST_SKIP() << "needs pulseaudio and pocketsphinx-testdata";
  test::PulseTestServer pulse(16000);
  ASSERT_TRUE(pulse.start()) << pulse.log();
  std::filesystem::remove(Paths::defaultsFile());
  test::writeFile(Paths::defaultsFile(), R"({"speechEngine": "pocketsphinx"})");
  ASSERT_EQ(test::runProcess(MURVELO_CLI_PATH, {"words", "add", "forward", "Onwardzq"}).exitCode, 0);

  DesktopApp app({MURVELO_PROGRAM_PATH, static_cast<int>(getpid()), getuid()});
  ASSERT_FALSE(app.launch().has_value());
  SetupGuide* guide = app.guide();
  ASSERT_NE(guide, nullptr) << "onboarding was never finished";
  ASSERT_TRUE(spinUntil([&] { return guide->isVisible(); }));
  while (guide->currentId() != SetupGuide::tryPage) guide->next();
  guide->activateWindow();
  ASSERT_TRUE(spinUntil([&] { return guide->tryBox()->hasFocus() && guide->isActiveWindow(); }));

  // The talk key is a desktop binding to murvelo-cli here; this process answers it, so it spins.
  auto talk = [&](const char* what) {
    test::TempDir out;
    test::ChildProcess cli;
    cli.start({MURVELO_CLI_PATH, "talk", what}, {}, out / "cli.log");
    EXPECT_TRUE(spinUntil([&] { return !cli.running(); }, 5000)) << what;
  };
  // Streaming starts once the engine has warmed; on a busy machine that takes a while.
  const auto stored = [] { return test::readFile(Paths::defaultsFile()); };
  ASSERT_TRUE(
      spinUntil([&] { return stored().find(R"("useDictationEngine": true)") != std::string::npos; }, 60000));
  talk("start");
  auto fed = std::async(std::launch::async, [&] { return pulse.feed(test::goForward(), true); });
  spinUntil([&] { return fed.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }, 20000);
  spin(400);  // a little room after the last word, as a speaker leaves before letting go
  talk("stop");
  const auto dictated = [&] { return guide->tryBox()->toPlainText().toStdString(); };
  EXPECT_TRUE(spinUntil([&] { return dictated().find("Onwardzq") != std::string::npos; }, 30000))
      << dictated();
  screenshot(*guide, "guide-6-try-it-dictated");

  // The support report of this run has its events, and neither the words nor the user's own word.
  test::TempDir dir;
  std::optional<Status> written;
  const QString path = QString::fromStdString((dir / "report.txt").string());
  ASSERT_TRUE(app.tools().reports().write(path, [&](Status status) { written = status; }));
  EXPECT_FALSE(app.tools().reports().write(path, nullptr)) << "one report at a time";
  ASSERT_TRUE(spinUntil([&] { return written.has_value(); }, 15000));
  ASSERT_TRUE(*written) << written->message();
  const std::string report = test::readFile(dir / "report.txt");
  for (const char* expected : {"posting keys: XTest is present", "controller stage", "recent dictations: 1,"})
    EXPECT_NE(report.find(expected), std::string::npos) << expected << "\n" << report;
  for (const std::string& secret : {dictated(), std::string("Onwardzq"), std::string("forward")})
    EXPECT_EQ(report.find(secret), std::string::npos) << secret << "\n" << report;

  // Another engine choice rebuilds the recogniser in the running program.
  test::ScopedLogCapture logs;
  app.settings().setSpeechEngine(SpeechEngineChoice::whisper);
  EXPECT_TRUE(spinUntil([&] {
    return std::ranges::count(logs.sink().messages(), "speech engine now pocketsphinx") > 0;
  })) << "no whisper model here: the rebuilt engine falls back";
  guide->button(QWizard::FinishButton)->click();
  EXPECT_FALSE(guide->isVisible());
  for (const char* marked : {R"("onboardingFinished": true)", R"("onboardingComplete": true)"})
    EXPECT_NE(test::readFile(Paths::defaultsFile()).find(marked), std::string::npos) << marked;
}

}  // namespace
}  // namespace murvelo::desktop
