#include "hotkey/linux/TalkKeyBackend.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "hotkey/evdev/EvdevKeySource.h"
#include "hotkey/x11/X11KeySource.h"

namespace murvelo {

TalkKeyBackend talkKeyBackendFor(const std::function<const char*(const char*)>& env, bool xServerAnswers) {
  const char* type = env("XDG_SESSION_TYPE");
  const char* wayland = env("WAYLAND_DISPLAY");
  // Under Wayland, X clients (XWayland) see keys only while one of their own windows has focus.
  if ((type && std::string_view(type) == "wayland") || (wayland && *wayland)) return TalkKeyBackend::evdev;
  return xServerAnswers ? TalkKeyBackend::x11 : TalkKeyBackend::evdev;
}

TalkKeyBackendChoice makeTalkKeySource(MainLoop& loop) {
  auto env = [](const char* name) { return static_cast<const char*>(std::getenv(name)); };
  std::string xProblem;
  const char* display = std::getenv("DISPLAY");
  const bool xAnswers = display && *display && X11KeySource::serverAvailable({}, &xProblem);
  TalkKeyBackendChoice choice;
  if (talkKeyBackendFor(env, xAnswers) == TalkKeyBackend::x11) {
    choice.source = std::make_unique<X11KeySource>(loop);
    choice.why = std::string("X11 session on ") + display;
    return choice;
  }
  std::error_code error;
  if (!xAnswers && !std::filesystem::is_directory("/dev/input", error)) {
    choice.why = "the talk key cannot be watched here: " +
                 (xProblem.empty() ? std::string("no X display") : xProblem) + ", and there is no /dev/input";
    return choice;
  }
  choice.source = std::make_unique<EvdevKeySource>(loop);
  if (xAnswers)
    choice.why = "Wayland session";
  else
    choice.why = xProblem.empty() ? "no X display" : xProblem;
  return choice;
}

}  // namespace murvelo
