#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "app/DictationStatus.h"

namespace murvelo {

// What the floating panel shows.
struct HUDPhase {
  enum class Kind { notice, starting, recording, transcribing, cleaning, typing, pasteHint };

  Kind kind = Kind::starting;
  std::string noticeText;  // only for `notice`

  // The text drawn in the panel.
  std::string text() const;
  // Whether the activity indicator spins in this phase.
  bool animated() const { return kind != Kind::notice && kind != Kind::pasteHint; }
  bool operator==(const HUDPhase&) const = default;
};

// The panel the phase is drawn in; the desktop shell implements it.
class HUDPanel {
 public:
  virtual ~HUDPanel() = default;
  virtual void show() = 0;
  virtual void hide() = 0;
};

// Turns the controller's status into a phase and shows or hides the panel. The phase is written
// only when it changes, so an unchanged status causes no redraw. Main thread only.
class HUDModel {
 public:
  explicit HUDModel(HUDPanel* panel = nullptr) : panel_(panel) {}

  void update(const DictationStatus& status, bool microphoneReady);

  const std::optional<HUDPhase>& phase() const { return phase_; }
  bool visible() const { return visible_; }
  // How many times the phase was written.
  int phaseWrites() const { return phaseWrites_; }

  // The phase a status calls for; none means the panel hides.
  static std::optional<HUDPhase> phaseFor(const DictationStatus& status, bool microphoneReady);
  // Notice texts the panel shows besides the microphone ones.
  static bool isKnownNotice(std::string_view text);

 private:
  void setVisible(bool visible);

  HUDPanel* panel_;
  std::optional<HUDPhase> phase_;
  bool visible_ = false;
  int phaseWrites_ = 0;
};

}  // namespace murvelo
