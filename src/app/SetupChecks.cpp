#include "app/SetupChecks.h"

#include <string_view>

#include "delivery/UinputRule.h"
#include "speech/ModelCatalog.h"

namespace murvelo {
namespace {

CheckOutcome ready(std::string status) { return {CheckOutcome::State::ready, std::move(status), {}, {}}; }

CheckOutcome needs(std::string status, std::string fix, std::string command = {}) {
  return {CheckOutcome::State::needsAction, std::move(status), std::move(fix), std::move(command)};
}

constexpr const char* kInputGroupCommand = "sudo usermod -aG input $USER";

}  // namespace

SessionKind sessionKindFrom(const char* (*env)(const char*)) {
  auto set = [&](const char* name) {
    const char* value = env(name);
    return value && *value;
  };
  const char* type = env("XDG_SESSION_TYPE");
  if (set("WAYLAND_DISPLAY") || (type && std::string_view(type) == "wayland")) return SessionKind::wayland;
  if (set("DISPLAY")) return SessionKind::x11;
  return SessionKind::none;
}

CheckOutcome checkMicrophone(const std::optional<MicrophoneFacts>& facts) {
  if (!facts) return {CheckOutcome::State::checking, "Looking for the audio server…", {}, {}};
  if (!facts->serverAnswers)
    return needs("No audio server answers, so Murvelo cannot hear you.",
                 "Start the sound server of your desktop (PipeWire's pulse service, or PulseAudio), "
                 "then come back to this page:",
                 "systemctl --user start pipewire-pulse.socket");
  if (facts->sources == 0)
    return needs("The audio server answers, but it offers no microphone.",
                 "Plug in a microphone or headset, or turn its input on in your sound settings "
                 "(pavucontrol, tab Input Devices).");
  return ready(facts->sources == 1 ? "The audio server answers and offers a microphone."
                                   : "The audio server answers and offers " + std::to_string(facts->sources) +
                                         " microphones.");
}

CheckOutcome checkTalkKey(const TalkKeyFacts& facts) {
  const std::string hold = "Hold " + facts.keyName + " to dictate.";
  if (facts.session == SessionKind::x11) {
    if (facts.listening) return ready("The X server reports the talk key; X11 needs no permission. " + hold);
    return needs("The X server does not report the talk key here.",
                 "Bind a keyboard shortcut of your desktop to this command instead; each press starts "
                 "or stops a dictation:",
                 "murvelo-cli talk toggle");
  }
  if (facts.listening) return ready("Murvelo reads the keyboards directly. " + hold);
  return needs(
      "Wayland keeps keys from other programs, so Murvelo reads the keyboards under /dev/input, "
      "which needs membership of the group input.",
      "Run this command, then log out and log in again:", kInputGroupCommand);
}

CheckOutcome checkAccessibility(const std::optional<bool>& busEnabled) {
  if (!busEnabled)
    return needs(
        "No accessibility bus answers in this session, so Murvelo cannot see the text before "
        "the cursor. Dictation still works, with plainer capitals and spacing.",
        "Install the accessibility bus, then log out and log in again:", "sudo apt install at-spi2-core");
  if (*busEnabled)
    return ready(
        "Accessibility is on: Murvelo reads the text before the cursor to get capitals and "
        "spaces right.");
  return needs(
      "Accessibility is off, so Murvelo cannot see the text before the cursor. Dictation still "
      "works, with plainer capitals and spacing.",
      "Turn it on with this command (or the button), then restart the programs you dictate into:",
      "gsettings set org.gnome.desktop.interface toolkit-accessibility true");
}

CheckOutcome checkPostingKeys(const PostingFacts& facts) {
  if (facts.session == SessionKind::x11) {
    if (facts.xtest) return ready("Murvelo can press Ctrl+V for you: the X server has the XTest extension.");
    return needs(
        "The X server lacks the XTest extension, so your words stay on the clipboard: press "
        "Ctrl+V to paste them.",
        "Turn XTest back on in the X server's configuration (it is on unless disabled).");
  }
  if (facts.uinputWritable) return ready("Murvelo can press Ctrl+V for you through /dev/uinput.");
  return needs(
      "/dev/uinput is not writable, so your words stay on the clipboard: press Ctrl+V to paste "
      "them.",
      std::string("Save this udev rule, join the group input (") + kInputGroupCommand +
          "), then restart the computer:",
      std::string("echo '") + kUinputUdevRule + "' | sudo tee " + kUinputUdevRuleFile);
}

CheckOutcome checkSpeechModel(const std::optional<std::string>& model) {
  if (model) return ready("Speech is recognised by whisper with the model " + *model + ".");
  std::string size;
  if (auto entry = ModelCatalog::find(kGuideModel))
    size = " (about " + std::to_string(entry->approximateBytes / (1024 * 1024)) + " MiB)";
  return needs(
      "No whisper model is installed: Murvelo uses PocketSphinx, which needs no download but "
      "mishears far more.",
      std::string("Download the English model ") + kGuideModel + size + " for much better accuracy.");
}

}  // namespace murvelo
