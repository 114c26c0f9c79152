#include <gtest/gtest.h>
#include <unistd.h>

#include <QAction>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QMenu>
#include <QScreen>

#include "app/Notices.h"
#include "desktop/DesktopApp.h"
#include "desktop/DesktopTestEnvironment.h"
#include "desktop/QtTestSupport.h"
#include "desktop/RecordingHUD.h"
#include "desktop/TrayMenu.h"

namespace murvelo::desktop {
namespace {

using test::spin;
using test::spinUntil;

// How many distinct colours an image has: a drawn panel has text and an indicator, not one fill.
int colours(const QImage& image) {
  QSet<QRgb> seen;
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x) seen.insert(image.pixel(x, y));
  return seen.size();
}

struct Panel {
  HUDModel model;
  RecordingHUD hud;
  explicit Panel(bool reduceMotion = false)
      : model(&hud), hud([this] { return model.phase(); }, reduceMotion) {}
  void set(const DictationStatus& status, bool ready) {
    model.update(status, ready);
    hud.phaseChanged();
  }
};

// Every phase drawn at the bottom centre, and whether its indicator turns: hints, notices and reduced
// motion hold it still; hidden, it stops refreshing. That it leaves the keyboard focus where it was
// is seen in the whole dictation on a real field.
TEST(RecordingHUD, EveryPhasePicturedAndOnlyWorkInProgressMoves) {
  struct Case {
    const char* name;
    DictationStatus status;
    std::optional<bool> turns;
    bool reduceMotion = false;
  };
  const Case phases[] = {
      {"starting", DictationStatus::recording(), std::nullopt},
      {"recording", DictationStatus::recording(), true},
      {"transcribing", DictationStatus::transcribing(), true},
      {"cleaning", DictationStatus::cleaning(), std::nullopt},
      {"typing", DictationStatus::message(std::string(notices::kTyping)), std::nullopt},
      {"pasteHint", DictationStatus::message(std::string(notices::kCopied)), false},
      {"notice", DictationStatus::message(std::string(notices::kNoAudio)), false},
      {"notice-no-tray", DictationStatus::message(std::string(notices::kNoTray)), std::nullopt},
      {"no-words", DictationStatus::message(std::string(notices::kNoWords)), false},
      {"recording-reduced-motion", DictationStatus::recording(), false, true},
  };
  auto dir = test::screenshotDir();
  QImage previous;
  std::string previousText;
  const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
  for (const auto& c : phases) {
    SCOPED_TRACE(c.name);
    Panel panel(c.reduceMotion);
    EXPECT_FALSE(panel.hud.refreshing());
    panel.set(c.status, std::string_view(c.name) != "starting");
    HUDWindow* window = panel.hud.window();
    ASSERT_TRUE(spinUntil([&] { return window->isVisible(); }));
    int tick = window->tick;
    spin(150);
    EXPECT_TRUE(!c.turns || (window->tick > tick) == *c.turns) << "the indicator turns: " << !*c.turns;
    EXPECT_EQ(window->x(), area.left() + (area.width() - 168) / 2);
    EXPECT_GT(window->y(), area.center().y());
    EXPECT_LE(window->geometry().bottom(), area.bottom());
    QImage shot = window->grab().toImage();
    EXPECT_EQ(shot.size(), QSize(168, 44));
    EXPECT_GT(colours(shot), 8);
    std::string text = panel.model.phase()->text();
    EXPECT_TRUE(text == previousText || shot != previous) << "a new text is drawn";
    previousText = text;
    EXPECT_TRUE(shot.save(QString::fromStdString((dir / ("hud-" + std::string(c.name) + ".png")).string())));
    previous = shot;
    panel.set(DictationStatus::idle(), true);
    EXPECT_FALSE(panel.hud.refreshing());
    EXPECT_TRUE(spinUntil([&] { return !window->isVisible(); }));
  }
}

TEST(TrayMenu, RecentDictationsCopyAndTheMenuIsPictured) {
  std::string copied;
  std::vector<std::string> recent = {
      "Send the report to Maria & Tom before Friday, with the figures from the "
      "third quarter attached.",
      "Thanks."};
  TrayMenu tray({[] {}, [](CleanupLevel) {}, [&] { return recent; },
                 [&](const std::string& text) { copied = text; }, nullptr, nullptr, nullptr});
  tray.addToolActions([] {}, [] {});
  tray.setLevel(CleanupLevel::light);
  tray.refreshRecent();
  auto actions = tray.recentMenu()->actions();
  ASSERT_GE(actions.size(), 2);
  EXPECT_EQ(actions[0]->text().size(), TrayMenu::kPreviewChars + 1) << "one & doubled";
  EXPECT_TRUE(actions[0]->text().endsWith("…"));
  actions[0]->trigger();
  EXPECT_EQ(copied, recent[0]) << "the whole text, not the preview";

  // As the program shows it while the key is paused.
  tray.setPaused(true);
  tray.setStatus("Talk key paused", false);
  EXPECT_EQ(tray.pauseAction()->text(), "Resume talk key");

  tray.menu()->popup(QPoint(400, 200));
  ASSERT_TRUE(spinUntil([&] { return tray.menu()->isVisible(); }));
  test::screenshot(*tray.menu(), "tray-menu");
  tray.menu()->hide();
}

// A Wayland session without access to the keyboards: nothing listens to the talk key, and the
// tray must not claim otherwise nor offer to pause what does not run.
TEST(DesktopApp, TrayTellsWhenTheTalkKeyIsNotListenedTo) {
  setenv("WAYLAND_DISPLAY", "murvelo-test-absent", 1);
  {
    DesktopApp app({"/usr/bin/murvelo", static_cast<int>(getpid()), getuid()});
    ASSERT_FALSE(app.launch());
    // Without a tray host the status first carries the one-time notice for a few seconds.
    auto status = [&] { return app.tray().statusAction()->text(); };
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 10000 && (status().startsWith("Run murvelo") || timer.elapsed() < 300))
      QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_TRUE(status().contains("not listened to")) << status().toStdString();
    EXPECT_FALSE(app.tray().pauseAction()->isEnabled());
  }
  unsetenv("WAYLAND_DISPLAY");
}

}  // namespace
}  // namespace murvelo::desktop
