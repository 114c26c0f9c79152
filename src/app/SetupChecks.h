#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace murvelo {

// What kind of desktop session the program runs in; decides which permissions matter.
enum class SessionKind { x11, wayland, none };

// From the session's environment: WAYLAND_DISPLAY or XDG_SESSION_TYPE=wayland is Wayland, else
// DISPLAY is X11. `env` reads one variable (null when unset).
SessionKind sessionKindFrom(const char* (*env)(const char*));

// One check of the first-start guide: what was found, and when something is missing, the exact
// way to fix it (a sentence, and a command to copy where one helps).
struct CheckOutcome {
  enum class State { ready, needsAction, checking };
  State state = State::checking;
  std::string status;
  std::string fix;
  std::string command;

  bool ready() const { return state == State::ready; }
  bool operator==(const CheckOutcome&) const = default;
};

struct MicrophoneFacts {
  bool serverAnswers = false;
  std::size_t sources = 0;
};
// None: not known yet (the first look at the audio server is still running).
CheckOutcome checkMicrophone(const std::optional<MicrophoneFacts>& facts);

struct TalkKeyFacts {
  SessionKind session = SessionKind::x11;
  bool listening = false;
  std::string keyName;  // "Right Alt"
};
CheckOutcome checkTalkKey(const TalkKeyFacts& facts);

// `busEnabled`: org.a11y.Status.IsEnabled; none when no accessibility bus answers at all.
CheckOutcome checkAccessibility(const std::optional<bool>& busEnabled);

struct PostingFacts {
  SessionKind session = SessionKind::x11;
  bool xtest = false;           // the X server has XTest
  bool uinputWritable = false;  // /dev/uinput can be opened for writing
};
CheckOutcome checkPostingKeys(const PostingFacts& facts);

// `model`: the whisper model the engine would use, if any is installed.
CheckOutcome checkSpeechModel(const std::optional<std::string>& model);

// The model the guide offers to download.
inline constexpr const char* kGuideModel = "base.en";

}  // namespace murvelo
