#include <gtest/gtest.h>

#include <map>

#include "hotkey/linux/TalkKeyBackend.h"

namespace murvelo {
namespace {

TEST(TalkKeyBackend, WaylandSessionsUseEvdevAndX11UsesXInput) {
  using Env = std::map<std::string, std::string>;
  struct Case {
    Env env;
    bool xAnswers;
    TalkKeyBackend backend;
  };
  const Case cases[] = {
      {{{"XDG_SESSION_TYPE", "x11"}}, true, TalkKeyBackend::x11},
      {{}, true, TalkKeyBackend::x11},
      {{{"XDG_SESSION_TYPE", "wayland"}}, true, TalkKeyBackend::evdev},
      {{{"WAYLAND_DISPLAY", "wayland-0"}}, true, TalkKeyBackend::evdev},
      {{{"WAYLAND_DISPLAY", ""}}, true, TalkKeyBackend::x11},
      {{{"XDG_SESSION_TYPE", "tty"}}, false, TalkKeyBackend::evdev},
  };
  for (const auto& c : cases) {
    auto env = [&](const char* name) -> const char* {
      auto found = c.env.find(name);
      return found == c.env.end() ? nullptr : found->second.c_str();
    };
    EXPECT_EQ(talkKeyBackendFor(env, c.xAnswers), c.backend);
  }
}

}  // namespace
}  // namespace murvelo
