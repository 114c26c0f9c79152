#include <gtest/gtest.h>

#include "sim/Scenario.h"

namespace murvelo::sim {
namespace {

TEST(ScenarioParse, ReadsEveryKindOfLine) {
  auto steps = parseScenario(
      "# comment\n"
      "\n"
      "stream \"say \\\"hi\\\"\" after 250   # trailing comment\n"
      "file hang\n"
      "mic bluetooth \"My Pods\"\n"
      "cursor \"line one\\n\"\n"
      "at 10 keydown\n"
      "at 10 resync down\n"
      "run until 40\n");
  ASSERT_TRUE(steps.ok()) << steps.error().message;
  const auto& s = steps.value();
  ASSERT_EQ(s.size(), 7u);
  EXPECT_EQ(s[0].kind, ScenarioStep::Kind::stream);
  EXPECT_EQ(s[0].text, "say \"hi\"");
  EXPECT_EQ(s[0].afterMs, 250);
  EXPECT_EQ(s[0].line, 3);
  EXPECT_TRUE(s[1].hang);
  EXPECT_EQ(s[2].text, "My Pods");
  EXPECT_EQ(s[3].text, "line one\n");
  EXPECT_EQ(s[4].atMs, 10);
  EXPECT_EQ(s[5].kind, ScenarioStep::Kind::resync);
  EXPECT_TRUE(s[5].flag);
  EXPECT_EQ(s[6].kind, ScenarioStep::Kind::runUntil);
  EXPECT_EQ(s[6].atMs, 40);
}

TEST(ScenarioParse, NamesTheLineOfEachMistake) {
  struct Case {
    const char* text;
    int line;
  };
  const Case cases[] = {
      {"at ten keydown", 1},
      {"at 10 keydown\nat 5 keyup", 2},
      {"at 10 press", 1},
      {"at -1 keydown", 1},
      {"stream \"unterminated after 10", 1},
      {"stream \"x\" before 10", 1},
      {"stream words after 10", 1},
      {"file \"x\" after", 1},
      {"mic loud", 1},
      {"mic bluetooth Pods", 1},
      {"level medium", 1},
      {"level", 1},
      {"cursor here", 1},
      {"autopaste maybe", 1},
      {"paste now", 1},
      {"mode push", 1},
      {"# ok\n\nrun until", 3},
      {"at 100 keydown\nrun until 50", 2},
      {"dance", 1},
  };
  for (const auto& c : cases) {
    auto steps = parseScenario(c.text);
    ASSERT_FALSE(steps.ok()) << c.text;
    EXPECT_EQ(steps.error().line, c.line) << c.text;
    EXPECT_FALSE(steps.error().message.empty());
  }
}

}  // namespace
}  // namespace murvelo::sim
