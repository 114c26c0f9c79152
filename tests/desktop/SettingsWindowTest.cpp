// The settings window and its model manager under the private X server, with a private audio
// server and a loopback download server.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTreeWidget>
#include <random>

#include "app/SettingsTexts.h"
#include "base/DefaultsStore.h"
#include "desktop/DesktopTestEnvironment.h"
#include "desktop/SettingsWindow.h"
#include "speech/WhisperModelChoice.h"
#include "speech/whisper/ModelDownloader.h"
#include "support/PulseTestServer.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo::desktop {
namespace {

bool spinUntil(const std::function<bool()>& done, int timeoutMs = 8000) {
  QElapsedTimer timer;
  timer.start();
  while (!done() && timer.elapsed() < timeoutMs) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
  return done();
}

void screenshot(QWidget& window, const std::string& name) {
  spinUntil([] { return false; }, 150);
  EXPECT_TRUE(window.grab().save(QString::fromStdString((test::screenshotDir() / (name + ".png")).string())));
}

int deviceRow(const SettingsWindow& window, const std::string& id) {
  const auto& entries = window.microphoneChoices().entries;
  for (std::size_t i = 0; i < entries.size(); ++i)
    if (entries[i].present && entries[i].selection == MicrophoneSelection::device(id))
      return static_cast<int>(i);
  return -1;
}

TEST(SettingsWindow, EveryChoiceIsWrittenAtOnceAndOutsideChangesShow) {
  InMemoryDefaultsStore defaults;
  AppSettings settings(defaults);
  SettingsWindow window(settings);
  window.present();
  ASSERT_TRUE(spinUntil([&] { return window.isVisible(); }));

  window.hotkey()->setCurrentIndex(2);
  EXPECT_EQ(settings.hotkey(), HotkeyChoice::rightControl);
  window.autoPaste()->click();
  EXPECT_FALSE(settings.autoPaste());
  EXPECT_EQ(window.autoPasteSummary()->text().toStdString(), texts::kAutoPasteOff);
  window.developerWords()->click();
  EXPECT_TRUE(settings.developerToolsVocabularyEnabled());
  window.engine()->setCurrentIndex(
      window.engine()->findData(static_cast<int>(SpeechEngineChoice::pocketsphinx)));
  EXPECT_EQ(settings.speechEngine(), SpeechEngineChoice::pocketsphinx);
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
}

TEST(SettingsWindow, MicrophoneMenuFollowsTheAudioServerAndADeviceThatGoes) {
  if (!test::PulseTestServer::available()) GTEST_SKIP() << "pulseaudio is not installed";
  test::PulseTestServer server;
  ASSERT_TRUE(server.start()) << server.log();
  InMemoryDefaultsStore defaults;
  AppSettings settings(defaults);
  settings.recordMicrophoneStartup("speech", 140);
  SettingsWindow window(settings, {.models = {}, .openGuide = [] {}, .microphoneIntervalMs = 100});
  window.tabs()->setCurrentIndex(1);
  window.present();
  ASSERT_TRUE(spinUntil([&] { return deviceRow(window, "speech") >= 0; }));
  EXPECT_EQ(window.microphoneNote()->text().toStdString(), MicrophoneChoices::kNoBuiltIn);
  EXPECT_NE(window.microphoneHint()->text().indexOf("about 140 ms"), -1) << "built-in falls to the default";

  int module = server.loadModule("module-sine-source", "source_name=usbmic rate=48000 frequency=440");
  ASSERT_GE(module, 0);
  ASSERT_TRUE(spinUntil([&] { return deviceRow(window, "usbmic") >= 0; }));
  window.microphone()->setCurrentIndex(deviceRow(window, "usbmic"));
  EXPECT_EQ(settings.microphoneSelection(), MicrophoneSelection::device("usbmic"));
  EXPECT_EQ(window.microphoneHint()->text().toStdString(), MicrophoneChoices::kNoTimes);
  screenshot(window, "settings-microphone");

  ASSERT_TRUE(server.pactl({"unload-module", std::to_string(module)}));
  ASSERT_TRUE(
      spinUntil([&] { return window.microphone()->currentText() == MicrophoneChoices::kDisconnectedLabel; }));
  EXPECT_EQ(window.microphoneHint()->text().toStdString(), MicrophoneChoices::kDisconnectedAdvice);
  EXPECT_EQ(settings.microphoneSelection(), MicrophoneSelection::device("usbmic"))
      << "kept until the user chooses";
  screenshot(window, "settings-microphone-disconnected");

  server.stop();
  ASSERT_TRUE(
      spinUntil([&] { return window.microphoneNote()->text().startsWith("No audio server answers"); }));
}

// Serves files; "slow-" names trickle out forever, "cut-" names stop halfway through.
constexpr const char* kServer = R"(import http.server, os, sys, time
root, portfile = sys.argv[1], sys.argv[2]
class Handler(http.server.SimpleHTTPRequestHandler):
    def __init__(self, *args, **kwargs):
        super().__init__(*args, directory=root, **kwargs)
    def log_message(self, *args):
        pass
    def send_head(self):
        name = os.path.basename(self.path)
        if name.startswith('slow-') or name.startswith('cut-'):
            self.send_response(200)
            self.send_header('Content-Length', str(1 << 24))
            self.end_headers()
            try:
                for _ in range(64 if name.startswith('cut-') else 100000):
                    self.wfile.write(b'x' * 65536)
                    self.wfile.flush()
                    time.sleep(0.05 if name.startswith('slow-') else 0)
            except OSError:
                pass
            self.close_connection = True
            return None
        return super().send_head()
server = http.server.ThreadingHTTPServer(('127.0.0.1', 0), Handler)
with open(portfile + '.tmp', 'w') as f:
    f.write(str(server.server_address[1]))
os.rename(portfile + '.tmp', portfile)
server.serve_forever()
)";

TEST(ModelManager, DownloadsWithProgressRefusesBadFilesCancelsAndDeletes) {
  test::TempDir temp;
  std::filesystem::create_directories(temp / "served");
  test::writeFile(temp / "server.py", kServer);
  std::string body(2 * 1024 * 1024, '\0');
  std::mt19937 random(5);
  for (auto& c : body) c = static_cast<char>(random());
  test::writeFile(temp / "served" / "ggml-tiny.en.bin", body);
  const std::string sha1 = ModelDownloader::sha1Of(temp / "served" / "ggml-tiny.en.bin");
  pid_t server = fork();
  if (server == 0) {
    execl("/usr/bin/python3", "python3", (temp / "server.py").c_str(), (temp / "served").c_str(),
          (temp / "port").c_str(), nullptr);
    _exit(127);
  }
  struct Reap {
    pid_t pid;
    ~Reap() {
      kill(pid, SIGTERM);
      waitpid(pid, nullptr, 0);
    }
  } reap{server};
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

}  // namespace
}  // namespace murvelo::desktop
