// The first-start guide under the private X server, with a private audio server and a private
// accessibility bus.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>

#include "base/DefaultsStore.h"
#include "delivery/atspi/AtspiStatus.h"
#include "desktop/DesktopTestEnvironment.h"
#include "desktop/ModelManager.h"
#include "desktop/SetupGuide.h"
#include "support/AtspiSession.h"
#include "support/PulseTestServer.h"

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
  guide.tryBox()->insertPlainText("Meet me at the station at noon.");
  screenshot(guide, "guide-6-try-it");
  EXPECT_FALSE(settings.onboardingFinished());
  guide.button(QWizard::FinishButton)->click();
  EXPECT_TRUE(settings.onboardingComplete());
  EXPECT_TRUE(settings.onboardingFinished());
  EXPECT_FALSE(guide.isVisible());
}

}  // namespace
}  // namespace murvelo::desktop
