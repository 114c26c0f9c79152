#include <gtest/gtest.h>

#include <map>

#include "app/SupportReport.h"
#include "base/DefaultsStore.h"
#include "cleanup/CorrectionsDictionary.h"
#include "history/HistoryStore.h"

namespace murvelo {
namespace {

TEST(SupportReport, SessionType) {
  const std::pair<std::map<std::string, std::string>, const char*> cases[] = {
      {{{"XDG_SESSION_TYPE", "x11"}, {"DISPLAY", ":0"}}, "x11"},
      {{{"XDG_SESSION_TYPE", "wayland"}, {"WAYLAND_DISPLAY", "wayland-0"}}, "wayland"},
      {{{"WAYLAND_DISPLAY", "wayland-0"}, {"DISPLAY", ":0"}}, "wayland (with XWayland)"},
      {{}, "none (no display)"},
  };
  for (const auto& [vars, type] : cases) {
    auto env = [&](const char* name) -> const char* {
      auto found = vars.find(name);
      return found == vars.end() ? nullptr : found->second.c_str();
    };
    EXPECT_EQ(SupportReport::sessionType(env), type);
  }
}

// What the user said and the words they taught stay out, whatever else the store holds; the
// settings are there by name, and a stored value cannot forge a line of its own.
TEST(SupportReport, HoldsSettingsAndCountsButNoWordsOfTheUser) {
  InMemoryDefaultsStore defaults;
  HistoryStore history(defaults);
  history.add("Meet Quentaria at the harbour at nine", 2.0, 0.3, CleanupLevel::light, 7);
  CorrectionsDictionary corrections(defaults);
  corrections.add("quent area", "Quentaria");
  defaults.setString("cleanupLevel", "format");
  defaults.setStringList("terminalWindowClasses", {"kitty\n== Checks ==\n[ok] forged"});

  SupportReport::Facts facts;
  facts.program = "murvelo";
  facts.build = SupportReport::buildFacts("6.4.2");
  facts.sessionType = "x11";
  facts.probes = {{"microphone", true, "2 input(s)"}, {"posting keys", false, "no XTest"}};
  facts.devices = DeviceList{{{"speech", "Speech", false, false, 16000}}, "speech"};
  facts.events = std::vector<DiagnosticEvent>{{{}, "controller", "stage", "run=1 cleanup"}};
  SupportReport::readStore(defaults, facts);
  const std::string report = SupportReport::render(facts);

  for (const char* expected : {"version: ", "commit: ", "whisper.cpp: ", "Qt: 6.4.2", "session: x11",
                               "[ok]   microphone: 2 input(s)", "[fail] posting keys: no XTest",
                               "- Speech [speech] default 16000 Hz", "cleanupLevel: \"format\"",
                               "hotkey: (default)", "corrections (My Words): 1 entries",
                               "recent dictations: 1,", "controller stage run=1 cleanup", "engine setting: "})
    EXPECT_NE(report.find(expected), std::string::npos) << expected << "\n" << report;
  for (const char* secret : {"Quentaria", "quent area", "harbour", "correctionsDictionary", "recentHistory"})
    EXPECT_EQ(report.find(secret), std::string::npos) << secret << "\n" << report;
  EXPECT_EQ(report.find("\n== Checks =="), report.rfind("\n== Checks ==")) << "a value forged a heading";
}

}  // namespace
}  // namespace murvelo
