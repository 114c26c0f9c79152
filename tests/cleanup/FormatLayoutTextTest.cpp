#include <gtest/gtest.h>

#include <random>

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {
namespace {

// Rewrites keep the token list as a fresh scan would see it, and breaks stay on their tokens.
TEST(FormatLayoutText, RewritesKeepTokensAndBreaks) {
  const char16_t* const kReplacements[] = {u"", u",", u" ", u", ", u"\n\n", u"X", u"Subject:", u"a b"};
  std::mt19937 random(7);
  for (int round = 0; round < 400; ++round) {
    std::vector<FormatEdit> edits;
    LayoutText text(fromUtf8("Hi Anna,  thanks. Send it to Ben not Cy.\nTalk soon, Dee"), edits);
    for (int step = 0; step < 6; ++step) {
      const std::int32_t length = text.text().length();
      const std::int32_t at = static_cast<std::int32_t>(random() % static_cast<unsigned>(length + 1));
      const std::int32_t span = static_cast<std::int32_t>(random() % 4);
      const TextRange range{at, std::min(span, length - at)};
      text.replace(range, kReplacements[random() % std::size(kReplacements)], "");
      const LayoutText fresh(text.text(), edits);
      ASSERT_EQ(text.tokens(), fresh.tokens()) << toUtf8(text.text());
    }
  }
}

TEST(FormatLayoutText, BreaksFollowTheirTokens) {
  std::vector<FormatEdit> edits;
  LayoutText text(fromUtf8("Hi Anna. Thanks for it. Talk soon."), edits);
  ASSERT_TRUE(text.breakBefore(9, BreakKind::paragraph, "test"));  // before "Thanks"
  // Splitting "Anna." into two tokens moves the break to the next index, still before "Thanks".
  text.replace({7, 1}, u" .", "test");
  ASSERT_EQ(text.breaks().size(), 1u);
  const int index = text.breaks().begin()->first;
  EXPECT_EQ(toUtf8(icu::UnicodeString(text.text(), text.tokens()[index].location, 6)), "Thanks");
  // A break is refused before the first token and where one of the same kind exists.
  EXPECT_FALSE(text.breakBefore(0, BreakKind::line, "test"));
  EXPECT_FALSE(text.breakBefore(text.tokens()[index].location, BreakKind::line, "test"));
}

}  // namespace
}  // namespace murvelo::cleanup::layout
