#include <gtest/gtest.h>

#include <stdexcept>

#include "base/DefaultsStore.h"
#include "cleanup/CleanupStep.h"
#include "cleanup/CorrectionsDictionary.h"

namespace murvelo {
namespace {

// A Format engine that answers as told, or throws.
class FakeFormat : public cleanup::FormatEngine {
 public:
  cleanup::FormatResult answer;
  bool fails = false;

  cleanup::FormatResult format(std::string_view, bool, bool) const override {
    if (fails) throw std::runtime_error("layout failed");
    return answer;
  }
};

class CleanupStepTest : public ::testing::Test {
 protected:
  InMemoryDefaultsStore store_;
  CorrectionsDictionary dictionary_{store_};
};

TEST_F(CleanupStepTest, FormatLevelsUseTheEngineAndItsOutcomeAndWithoutOneTheTextIsUnchanged) {
  FakeFormat engine;
  const CleanupStep step(&engine, dictionary_);
  engine.answer = {"Hello.\n\nBye.", {{"explicit-topic-break", "a", "b"}}, std::nullopt};
  auto cleaned = step.clean("hello bye", CleanupLevel::format, true, false);
  EXPECT_EQ(cleaned.text, "Hello.\n\nBye.");
  EXPECT_FALSE(cleaned.fallback);

  engine.answer = {"hello bye", {}, std::nullopt};
  EXPECT_EQ(step.clean("hello bye", CleanupLevel::medium, true, false).fallback, "format-unchanged");

  engine.answer = {"hello bye", {}, "tidy-dropped-question-mark"};
  EXPECT_EQ(step.clean("hello bye", CleanupLevel::format, true, false).fallback,
            "tidy-dropped-question-mark");

  engine.fails = true;
  cleaned = step.clean("hello bye", CleanupLevel::format, true, false);
  EXPECT_EQ(cleaned.text, "hello bye");
  EXPECT_EQ(cleaned.fallback, "format-safe-fallback");

  // Without an engine the text is unchanged.
  cleaned = CleanupStep(nullptr, dictionary_).clean("hello there", CleanupLevel::format, true, false);
  EXPECT_EQ(cleaned.text, "hello there");
  EXPECT_EQ(cleaned.fallback, "format-unchanged");
}

}  // namespace
}  // namespace murvelo
