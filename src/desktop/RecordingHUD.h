#pragma once

#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

#include "app/HUDModel.h"

class QTimer;

namespace murvelo::desktop {

// Draws one phase into a panel-sized rectangle: the 13×13 activity indicator (turned by
// `tick` when it animates) and the phase's text.
void paintHUDContent(QPainter& painter, const QRect& rect, const HUDPhase& phase, int tick);

class HUDWindow : public QWidget {
 public:
  explicit HUDWindow(std::function<std::optional<HUDPhase>()> phase);
  int tick = 0;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::function<std::optional<HUDPhase>()> phase_;
};

// The floating status panel: a 168×44 frameless tool window that never takes the keyboard
// focus, kept above other windows near the bottom centre of the screen under the pointer.
// While shown, a 0.03 s timer turns the indicator and follows the pointer to another screen;
// hidden, it has no timer at all.
class RecordingHUD : public HUDPanel {
 public:
  static constexpr int kWidth = 168;
  static constexpr int kHeight = 44;
  static constexpr int kRefreshMs = 30;
  // How far above the bottom edge of the usable screen area the panel sits.
  static constexpr int kBottomMargin = 72;

  using PhaseSource = std::function<std::optional<HUDPhase>()>;
  // `phase` reads the model's current phase; `reduceMotion`: the desktop asks for no animation.
  RecordingHUD(PhaseSource phase, bool reduceMotion);
  ~RecordingHUD() override;

  void show() override;
  void hide() override;
  // The phase changed while shown: redraw now rather than at the next refresh.
  void phaseChanged();

  bool refreshing() const;
  // Null until first shown.
  HUDWindow* window() const { return window_.get(); }

 private:
  void refresh();
  void place();

  PhaseSource phase_;
  bool reduceMotion_;
  std::unique_ptr<HUDWindow> window_;
  std::unique_ptr<QTimer> timer_;
};

// Whether the desktop asks for reduced motion (GNOME's enable-animations off, or KDE's
// animation speed at zero), read from the settings portal; false when no portal answers.
bool desktopPrefersReducedMotion();

}  // namespace murvelo::desktop
