#include "app/HUDModel.h"

#include <algorithm>
#include <array>

#include "app/Notices.h"

namespace murvelo {
namespace {

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}
bool startsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

}  // namespace

std::string HUDPhase::text() const {
  switch (kind) {
    case Kind::notice: return noticeText;
    case Kind::starting: return "Starting microphone…";
    case Kind::recording: return "Listening…";
    case Kind::transcribing: return "Cleaning up…";
    case Kind::cleaning: return "Cleaning up…";
    case Kind::typing: return "Typing it out…";
    case Kind::pasteHint: return "Press Ctrl+V to paste";
  }
  return {};
}

bool HUDModel::isKnownNotice(std::string_view text) {
  static constexpr std::array kNotices = {notices::kStuck, notices::kNoWords, notices::kMicUnreachable,
                                          notices::kNoTray};
  return std::find(kNotices.begin(), kNotices.end(), text) != kNotices.end();
}

std::optional<HUDPhase> HUDModel::phaseFor(const DictationStatus& status, bool microphoneReady) {
  using Kind = HUDPhase::Kind;
  switch (status.kind) {
    case DictationStatus::Kind::idle: return std::nullopt;
    case DictationStatus::Kind::recording:
      return HUDPhase{microphoneReady ? Kind::recording : Kind::starting, {}};
    case DictationStatus::Kind::transcribing: return HUDPhase{Kind::transcribing, {}};
    case DictationStatus::Kind::cleaning: return HUDPhase{Kind::cleaning, {}};
    case DictationStatus::Kind::message: break;
  }
  const std::string& text = status.text;
  if (contains(text, "Ctrl+V")) return HUDPhase{Kind::pasteHint, {}};
  if (text == notices::kTyping) return HUDPhase{Kind::typing, {}};
  if (startsWith(text, "Using this computer's mic") || contains(text, "needs a second") ||
      startsWith(text, "Selected microphone unavailable") || startsWith(text, "No microphone audio") ||
      isKnownNotice(text))
    return HUDPhase{Kind::notice, text};
  return std::nullopt;
}

void HUDModel::update(const DictationStatus& status, bool microphoneReady) {
  std::optional<HUDPhase> next = phaseFor(status, microphoneReady);
  if (!next) {
    setVisible(false);
    return;
  }
  if (phase_ != next) {
    phase_ = std::move(next);
    ++phaseWrites_;
  }
  setVisible(true);
}

void HUDModel::setVisible(bool visible) {
  if (visible == visible_) return;
  visible_ = visible;
  if (!panel_) return;
  if (visible)
    panel_->show();
  else
    panel_->hide();
}

}  // namespace murvelo
