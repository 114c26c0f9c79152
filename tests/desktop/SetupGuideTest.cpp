// The first-start guide under the private X server, with a private audio server and a private
// accessibility bus.
#include <gtest/gtest.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <fstream>
#include <thread>

#include "base/DefaultsStore.h"
#include "base/Paths.h"
#include "delivery/atspi/AtspiStatus.h"
#include "desktop/DesktopApp.h"
#include "desktop/DesktopTestEnvironment.h"
#include "desktop/ModelManager.h"
#include "desktop/SetupGuide.h"
#include "support/AtspiSession.h"
#include "support/PulseTestServer.h"
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

TEST(SetupGuide, EveryCheckIsLiveAndFinishingMarksOnboardingDone) {
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

  struct Page {
    SetupGuide::PageId id;
    CheckOutcome::State state;
    const char* command;
  };
  const Page pages[] = {
      {SetupGuide::talkKeyPage, CheckOutcome::State::needsAction, "sudo usermod -aG input $USER"},
      {SetupGuide::accessibilityPage, CheckOutcome::State::needsAction,
       "gsettings set org.gnome.desktop.interface toolkit-accessibility true"},
      {SetupGuide::postingPage, CheckOutcome::State::needsAction, "sudo tee /etc/udev/rules.d/"},
      {SetupGuide::modelPage, CheckOutcome::State::needsAction, ""},
  };
  for (const auto& page : pages) {
    guide.next();
    ASSERT_EQ(guide.currentId(), page.id);
    CheckPage* shown = guide.checkPage(page.id);
    EXPECT_EQ(shown->outcome().state, page.state) << page.id;
    EXPECT_NE(shown->commandLine()->text().indexOf(page.command), -1)
        << shown->commandLine()->text().toStdString();
    EXPECT_EQ(shown->commandLine()->isVisible(), *page.command != '\0') << page.id;
    screenshot(guide, "guide-" + std::to_string(page.id + 1) + "-" +
                          shown->title().toLower().replace(' ', '-').toStdString());
    if (page.id == SetupGuide::accessibilityPage) {
      ASSERT_TRUE(guide.enableAccessibilityButton()->isVisible());
      guide.enableAccessibilityButton()->click();
      EXPECT_TRUE(shown->outcome().ready()) << shown->outcome().status;
      EXPECT_EQ(AtspiStatus::enabled(), std::optional(true));
      EXPECT_FALSE(guide.enableAccessibilityButton()->isVisible());
    }
    if (page.id == SetupGuide::modelPage) {
      EXPECT_TRUE(guide.downloadButton()->isVisible());
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

  while (guide.currentId() != SetupGuide::tryPage) guide.next();
  EXPECT_NE(guide.currentPage()->findChild<QLabel*>()->text().indexOf("hold Right Alt"), -1);
  EXPECT_TRUE(spinUntil([&] { return guide.tryBox()->hasFocus(); }));
  EXPECT_FALSE(settings.onboardingFinished());
  guide.button(QWizard::FinishButton)->click();
  EXPECT_TRUE(settings.onboardingComplete());
  EXPECT_TRUE(settings.onboardingFinished());
  EXPECT_FALSE(guide.isVisible());
}

// The program itself, in this process: its first start opens the guide, and a dictation through
// the real microphone path, speech engine and paste keystroke lands in the guide's box.
TEST(SetupGuide, FirstStartOpensItAndADictationLandsInTheTryBox) {
  const std::filesystem::path clip = "/usr/share/pocketsphinx/test/data/goforward.raw";
  if (!std::filesystem::exists(clip) || !test::PulseTestServer::available())
    GTEST_SKIP() << "needs pulseaudio and pocketsphinx-testdata";
  test::PulseTestServer pulse(16000);
  ASSERT_TRUE(pulse.start()) << pulse.log();
  std::filesystem::remove(Paths::defaultsFile());
  std::filesystem::create_directories(Paths::defaultsFile().parent_path());
  test::writeFile(Paths::defaultsFile(), R"({"speechEngine": "pocketsphinx"})");

  DesktopApp app({MURVELO_PROGRAM_PATH, static_cast<int>(getpid()), getuid()});
  ASSERT_FALSE(app.launch().has_value());
  SetupGuide* guide = app.guide();
  ASSERT_NE(guide, nullptr) << "onboarding was never finished";
  ASSERT_TRUE(spinUntil([&] { return guide->isVisible(); }));
  while (guide->currentId() != SetupGuide::tryPage) guide->next();
  guide->activateWindow();
  ASSERT_TRUE(spinUntil([&] { return guide->tryBox()->hasFocus() && guide->isActiveWindow(); }));

  std::vector<float> samples;
  std::ifstream in(clip, std::ios::binary);
  unsigned char bytes[2];
  while (in.read(reinterpret_cast<char*>(bytes), 2))
    samples.push_back(static_cast<float>(static_cast<std::int16_t>(bytes[0] | bytes[1] << 8)) / 32768.0f);
  // The talk key is a desktop binding to murvelo-cli here; this process answers it, so it spins.
  auto talk = [&](const char* what) {
    test::TempDir out;
    test::BackgroundProcess cli(MURVELO_CLI_PATH, {"talk", what}, {}, out / "cli.log");
    EXPECT_TRUE(spinUntil([&] { return !cli.running(); }, 5000)) << what;
  };
  talk("start");
  std::atomic<bool> fed{false};
  std::thread feeder([&] {
    pulse.feed(samples, true);
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    fed = true;
  });
  spinUntil([&] { return fed.load(); }, 20000);
  feeder.join();
  talk("stop");
  EXPECT_TRUE(spinUntil([&] { return guide->tryBox()->toPlainText().toLower().contains("forward"); }, 30000))
      << guide->tryBox()->toPlainText().toStdString();
  screenshot(*guide, "guide-6-try-it-dictated");
  guide->button(QWizard::FinishButton)->click();
  EXPECT_TRUE(test::readFile(Paths::defaultsFile()).find(R"("onboardingFinished": true)") !=
              std::string::npos);
}

}  // namespace
}  // namespace murvelo::desktop
