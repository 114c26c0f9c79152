#include <gtest/gtest.h>

#include "app/HUDModel.h"
#include "app/Notices.h"

namespace murvelo {
namespace {

class CountingPanel : public HUDPanel {
 public:
  void show() override { ++shows; }
  void hide() override { ++hides; }
  int shows = 0;
  int hides = 0;
};

TEST(HUDModel, StatusToPhase) {
  using K = HUDPhase::Kind;
  struct Case {
    DictationStatus status;
    bool ready;
    std::optional<std::pair<K, std::string>> shown;  // none: hidden
  };
  const Case cases[] = {
      {DictationStatus::idle(), true, std::nullopt},
      {DictationStatus::recording(), false, {{K::starting, "Starting microphone…"}}},
      {DictationStatus::message("Copied — press Ctrl+V to paste"),
       false,
       {{K::pasteHint, "Press Ctrl+V to paste"}}},
      {DictationStatus::message("Copied — press ⌘V to paste"), false, std::nullopt},
      {DictationStatus::message("Selected microphone unavailable. Check Settings."),
       false,
       {{K::notice, "Selected microphone unavailable. Check Settings."}}},
      {DictationStatus::message("Something else entirely"), false, std::nullopt},
  };
  for (const auto& c : cases) {
    auto phase = HUDModel::phaseFor(c.status, c.ready);
    EXPECT_EQ(phase ? std::optional(std::pair(phase->kind, phase->text())) : std::nullopt, c.shown)
        << c.status.text;
  }
}

TEST(HUDModel, StartingThenListeningWithoutHidingAndWritesOnlyOnChange) {
  CountingPanel panel;
  HUDModel model(&panel);
  model.update(DictationStatus::recording(), false);
  model.update(DictationStatus::recording(), false);
  EXPECT_EQ(model.phaseWrites(), 1);
  model.update(DictationStatus::recording(), true);
  EXPECT_EQ(model.phase()->kind, HUDPhase::Kind::recording);
  EXPECT_EQ(model.phaseWrites(), 2);
  EXPECT_EQ(std::pair(panel.shows, panel.hides), std::pair(1, 0));
  model.update(DictationStatus::idle(), true);
  model.update(DictationStatus::message("not a HUD notice"), true);
  EXPECT_EQ(panel.hides, 1);
  EXPECT_FALSE(model.visible());
}

}  // namespace
}  // namespace murvelo
