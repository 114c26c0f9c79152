#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/MainLoop.h"
#include "hotkey/KeySource.h"

namespace murvelo {

// Which key source a session uses: evdev in a Wayland session or where no X server answers,
// XInput2 on X11.
enum class TalkKeyBackend { x11, evdev };

struct TalkKeyBackendChoice {
  std::unique_ptr<KeySource> source;  // none when nothing can watch the key here
  std::string why;                    // how it was chosen, or why nothing can be
};

// The session as the environment describes it; `env` reads a variable (std::getenv by default).
TalkKeyBackend talkKeyBackendFor(const std::function<const char*(const char*)>& env, bool xServerAnswers);

// Chooses and builds the key source for this session.
TalkKeyBackendChoice makeTalkKeySource(MainLoop& loop);

}  // namespace murvelo
