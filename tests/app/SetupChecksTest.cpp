#include <gtest/gtest.h>

#include <map>

#include "app/LaunchPlan.h"
#include "app/SetupChecks.h"

namespace murvelo {
namespace {

using State = CheckOutcome::State;

// The checks the setup guide shows on a Wayland session without a model: see the guide's test.
TEST(SetupChecks, EachCheckSaysWhatIsMissingAndTheExactFix) {
  struct Case {
    const char* name;
    CheckOutcome outcome;
    State state;
    std::string command;  // the command offered, or "" for none
  };
  const Case cases[] = {
      {"mic still looking", checkMicrophone(std::nullopt), State::checking, ""},
      {"server without sources", checkMicrophone(MicrophoneFacts{true, 0}), State::needsAction, ""},
      {"x11 key unseen", checkTalkKey({SessionKind::x11, false, "Right Alt"}), State::needsAction,
       "murvelo-cli talk toggle"},
      {"console without group", checkTalkKey({SessionKind::none, false, "Right Alt"}), State::needsAction,
       "sudo usermod -aG input $USER"},
      {"wayland reading keyboards", checkTalkKey({SessionKind::wayland, true, "Right Alt"}), State::ready,
       ""},
      {"no a11y bus", checkAccessibility(std::nullopt), State::needsAction, "sudo apt install at-spi2-core"},
      {"no xtest", checkPostingKeys({SessionKind::x11, false, true}), State::needsAction, ""},
      {"uinput", checkPostingKeys({SessionKind::wayland, false, true}), State::ready, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(std::tie(c.outcome.state, c.outcome.command), std::tie(c.state, c.command)) << c.name;
    EXPECT_FALSE(c.outcome.status.empty()) << c.name;
    EXPECT_EQ(c.outcome.fix.empty(), c.state != State::needsAction) << c.name;
  }
  EXPECT_NE(checkSpeechModel(std::nullopt).fix.find("base.en (about"), std::string::npos);
}

TEST(SetupChecks, SessionKindFromTheEnvironment) {
  static std::map<std::string, std::string> env;
  auto read = [](const char* name) -> const char* {
    return env.contains(name) ? env[name].c_str() : nullptr;
  };
  const std::pair<std::map<std::string, std::string>, SessionKind> cases[] = {
      {{{"DISPLAY", ":0"}}, SessionKind::x11},
      {{{"DISPLAY", ":0"}, {"WAYLAND_DISPLAY", "wayland-0"}}, SessionKind::wayland},
      {{{"DISPLAY", ":0"}, {"XDG_SESSION_TYPE", "wayland"}}, SessionKind::wayland},
      {{{"DISPLAY", ""}, {"XDG_SESSION_TYPE", "tty"}}, SessionKind::none},
  };
  for (const auto& [vars, kind] : cases) {
    env = vars;
    EXPECT_EQ(sessionKindFrom(read), kind) << vars.size();
  }
}

TEST(LaunchPlan, OpensTheGuideWhenTheLaunchSequenceSays) {
  struct Case {
    const char* name;
    LaunchFacts facts;
    LaunchPlan plan;
  };
  // microphone, key, confirmed, translocated, resume, complete, finished
  const Case cases[] = {
      {"first start, all granted", {true, true, false, false, false, false, false}, {true, true, true, true}},
      {"finished and granted", {true, true, true, false, false, true, true}, {false, false, false, true}},
      {"key not yet seen but confirmed",
       {true, false, true, false, false, false, true},
       {false, true, false, true}},
      {"confirmed, resumed", {true, false, true, false, true, true, true}, {true, false, false, true}},
      {"complete marks confirmed",
       {true, false, false, false, false, true, true},
       {false, false, true, true}},
      {"translocated", {true, false, true, true, false, true, true}, {true, false, false, false}},
      {"key never seen", {true, false, false, false, false, false, true}, {true, false, false, false}},
  };
  for (const auto& c : cases) EXPECT_EQ(planLaunch(c.facts), c.plan) << c.name;
}

}  // namespace
}  // namespace murvelo
