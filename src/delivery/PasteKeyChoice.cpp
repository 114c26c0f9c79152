#include "delivery/PasteKeyChoice.h"

#include <algorithm>
#include <cctype>

namespace murvelo {
namespace {

constexpr std::string_view kTerminals[] = {
    "gnome-terminal",
    "gnome-terminal-server",
    "org.gnome.terminal",
    "kgx",
    "org.gnome.console",
    "org.gnome.ptyxis",
    "ptyxis",
    "konsole",
    "org.kde.konsole",
    "yakuake",
    "xfce4-terminal",
    "tilix",
    "com.gexperts.tilix",
    "terminator",
    "kitty",
    "alacritty",
    "org.wezfurlong.wezterm",
    "wezterm",
    "wezterm-gui",
    "foot",
    "footclient",
    "urxvt",
    "rxvt",
    "rxvt-unicode",
    "st",
    "st-256color",
    "xterm",
    "uxterm",
    "lxterminal",
    "mate-terminal",
    "qterminal",
    "terminology",
    "sakura",
    "guake",
    "tilda",
    "cool-retro-term",
    "contour",
    "blackbox",
    "com.raggesilver.blackbox",
    "io.elementary.terminal",
    "deepin-terminal",
    "ghostty",
    "com.mitchellh.ghostty",
};

std::string lower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
  return out;
}

}  // namespace

std::string_view pasteKeyName(PasteKey key) {
  return key == PasteKey::ctrlShiftV ? "ctrl+shift+v" : "ctrl+v";
}

std::span<const std::string_view> knownTerminalClasses() { return kTerminals; }

PasteKey choosePasteKey(const std::vector<std::string>& windowClasses,
                        const std::vector<std::string>& extraTerminals) {
  for (const std::string& name : windowClasses) {
    std::string candidate = lower(name);
    if (candidate.empty()) continue;
    if (std::find(std::begin(kTerminals), std::end(kTerminals), candidate) != std::end(kTerminals))
      return PasteKey::ctrlShiftV;
    for (const std::string& extra : extraTerminals)
      if (lower(extra) == candidate) return PasteKey::ctrlShiftV;
  }
  return PasteKey::ctrlV;
}

}  // namespace murvelo
