// clang-format off
// Before any Qt header: Qt's keyword macros clash with the capture session's names.
#include "audio/pulse/LinuxAudioRecorder.h"
// clang-format on

#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>

#include "app/PhraseRecorder.h"
#include "base/DefaultsStore.h"
#include "base/Paths.h"
#include "base/ThreadTimer.h"
#include "cleanup/CorrectionsDictionary.h"
#include "desktop/AccuracyWindow.h"
#include "desktop/DesktopTestEnvironment.h"
#include "desktop/HistoryWindow.h"
#include "desktop/QtMainLoop.h"
#include "desktop/QtTestSupport.h"
#include "history/HistoryStore.h"
#include "speech/SpeechEngine.h"
#include "speech/pocketsphinx/PocketSphinxRecognizer.h"
#include "support/PulseTestServer.h"

namespace murvelo::desktop {
namespace {

using test::goForward;
using test::screenshot;
using test::spin;
using test::spinUntil;

// Whether every child widget still lies inside the window: a long row must not push the layout out.
bool layoutFits(QWidget& window) {
  for (auto* child : window.findChildren<QWidget*>()) {
    if (!child->isVisible()) continue;
    QRect box(child->mapTo(&window, QPoint(0, 0)), child->size());
    if (!window.rect().contains(box)) return false;
  }
  return true;
}

const std::string kLong = [] {
  std::string text;
  while (text.size() < 8000) text += "a very long dictation that goes on and on ";
  return text;
}();
const std::string kEmoji = "Ship it 🚀🎉 today 👍";
const std::string kRightToLeft = "שלום עולם — مرحبا بالعالم";

TEST(HistoryWindow, FlagCopyClearAndMyWordsWithOddText) {
  InMemoryDefaultsStore defaults;
  HistoryStore history(defaults);
  CorrectionsDictionary corrections(defaults);
  for (const auto& text :
       {std::string("Send the figures to Maria before Friday."), kLong, kEmoji, kRightToLeft})
    history.add(text, 1.0, 0.2, CleanupLevel::light, 5);
  corrections.add(kRightToLeft, "RTL");
  corrections.add("emoji 🚀", kLong);
  std::string copied;
  HistoryWindow window(history, corrections, [&](const std::string& text) { copied = text; });
  window.present();
  ASSERT_TRUE(spinUntil([&] { return window.isVisible(); }, 3000));

  ASSERT_EQ(window.list()->count(), 4);
  window.list()->setCurrentRow(2);  // the long one
  window.copySelected();
  EXPECT_EQ(copied, history.items()[2].text) << "the whole text, not the row";
  window.flagButton()->click();
  EXPECT_TRUE(history.items()[2].flaggedWrong);
  EXPECT_TRUE(window.list()->item(2)->text().contains("⚑"));
  EXPECT_EQ(window.list()->currentRow(), 2) << "the selection stays on the flagged item";
  EXPECT_TRUE(layoutFits(window));
  screenshot(window, "history-recent");

  window.showWords();
  ASSERT_EQ(window.words()->rowCount(), 2);
  window.words()->selectRow(0);
  EXPECT_EQ(window.wrongEdit()->text().toStdString(), kRightToLeft);
  EXPECT_TRUE(layoutFits(window));
  screenshot(window, "history-my-words");

  using Entries = std::vector<std::pair<std::string, std::string>>;
  auto fill = [&](int row, const char* wrong, const char* right) {
    if (row >= 0) window.words()->selectRow(row);
    if (wrong) window.wrongEdit()->setText(wrong);
    window.rightEdit()->setText(right);
  };
  const std::pair<std::function<void()>, Entries> steps[] = {
      {[&] { fill(-1, " Murvello ", "Murvelo"), window.addWord(); },
       {{kRightToLeft, "RTL"}, {"emoji 🚀", kLong}, {"Murvello", "Murvelo"}}},
      {[&] { fill(2, nullptr, "Murvelo!"), window.saveWord(); },
       {{kRightToLeft, "RTL"}, {"emoji 🚀", kLong}, {"Murvello", "Murvelo!"}}},
      {[&] { window.words()->selectRow(0), window.removeWord(); },
       {{"emoji 🚀", kLong}, {"Murvello", "Murvelo!"}}},
      {[&] { fill(-1, "only one side", ""), window.addWord(); },
       {{"emoji 🚀", kLong}, {"Murvello", "Murvelo!"}}},
  };
  for (const auto& [act, expected] : steps) {
    act();
    Entries entries;
    for (const auto& entry : corrections.entries()) entries.emplace_back(entry.wrong, entry.right);
    EXPECT_EQ(entries, expected);
    EXPECT_EQ(window.words()->rowCount(), static_cast<int>(expected.size()));
  }
  EXPECT_FALSE(window.wordsNote()->text().isEmpty()) << "a half-filled word says what is missing";

  window.clearHistory(false);
  EXPECT_TRUE(history.items().empty());
  EXPECT_EQ(window.list()->count(), 0);
}

TEST(AccuracyWindow, ReadingsThroughTheRealMicrophoneAreScoredAndKept) {
  if (!test::PulseTestServer::available() || goForward().empty())
    GTEST_SKIP() << "pulseaudio or pocketsphinx-testdata is not installed";
  test::PulseTestServer pulse(16000);
  ASSERT_TRUE(pulse.start()) << pulse.log();
  // The program's own microphone (the private server playing a recording) and engine.
  QtMainLoop loop;
  ThreadTimer timer;
  LinuxAudioRecorder recorder{loop, [] { return MicrophoneSelection::systemDefault(); }};
  SpeechEngine engine{loop, timer, std::make_shared<PocketSphinxRecognizer>(), Paths::tempAudioDir()};
  std::optional<bool> warmed;
  engine.warmUp([&](Status status) { warmed = status.isOk(); });
  ASSERT_TRUE(spinUntil([&] { return warmed.has_value(); }, 30000) && *warmed);
  InMemoryDefaultsStore defaults;
  AccuracyProgress progress(defaults);
  PhraseRecorder phrases(loop, recorder.recorder(), engine);
  AccuracyWindow window(phrases, progress,
                        {{"go forward ten meters", false}, {"Turn left at the 2nd door, Anna.", true}});
  std::vector<bool> readings;
  bool dictating = false;
  window.setReadingHooks([&](bool reading) { readings.push_back(reading); }, [&] { return !dictating; });
  window.present();

  dictating = true;
  window.toggleReading();
  EXPECT_FALSE(phrases.recording()) << "a reading waits for a dictation under way";
  dictating = false;
  // The clip read for each phrase: the first is what it says, the second is not.
  for (std::size_t phrase = 0; phrase < 2; ++phrase) {
    window.toggleReading();
    ASSERT_TRUE(phrases.recording()) << window.statusLabel()->text().toStdString();
    ASSERT_TRUE(pulse.feed(goForward(), true));
    spin(400);
    window.toggleReading();
    ASSERT_TRUE(spinUntil([&] { return window.index() == phrase + 1; }, 30000))
        << window.statusLabel()->text().toStdString();
  }
  ASSERT_EQ(window.scores().size(), 2u);
  EXPECT_LE(window.scores()[0].wer.errorRate(), 0.5) << "pocketsphinx hears most of the clip";
  EXPECT_GE(window.scores()[1].missedWords.size(), 5u);
  EXPECT_EQ(readings, (std::vector<bool>{true, false, true, false}));

  ASSERT_TRUE(window.finished());
  ASSERT_EQ(progress.entries().size(), 1u);
  EXPECT_EQ(progress.entries()[0].phrases, 2);
  screenshot(window, "accuracy-test-done");
  window.readButton()->click();
  EXPECT_EQ(window.results()->count(), 0) << "start over";
}

}  // namespace
}  // namespace murvelo::desktop
