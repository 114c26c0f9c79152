#include <gtest/gtest.h>

#include "delivery/CursorContext.h"
#include "delivery/TextInserter.h"

namespace murvelo {
namespace {

TEST(CursorContext, DecisionsFromTheTextBeforeTheCursor) {
  struct Case {
    const char* preceding;
    bool startsSentence;
    bool needsLeadingSpace;
  };
  const Case cases[] = {
      {"", true, false},                 // start of an empty field
      {"hello", false, true},            // right after a word
      {"Done.  ", true, false},          // full stop and two spaces
      {"Done.)", true, true},            // a closing bracket after the full stop
      {"he said \"yes\"", false, true},  // a closing straight quote
      {"he said \"", false, false},      // an opening straight quote after a space
      {"\"", true, false},               // a lone quote: nothing before it decides
      {"Wait.\n", true, false},          // line feed even after a full stop
      {"one, ", false, false},           // comma and a space
      {"list:\r\n", true, false},        // CRLF is one character
      {"para\u2029", true, false},       // paragraph separator
      {"really?", true, true},           // question mark
      {"so\u2026", true, true},          // ellipsis
      {"(", false, false},               // opening bracket
      {"\u201C", false, false},          // left double quotation mark
      {"x'", false, true},               // apostrophe after a letter closes
      {"caf\u0065\u0301", false, true},  // a combining accent stays one character
  };
  for (const auto& c : cases) {
    CursorContext context = CursorContext::fromText(c.preceding);
    EXPECT_EQ(context.startsSentence(), c.startsSentence) << c.preceding;
    EXPECT_EQ(context.needsLeadingSpace(), c.needsLeadingSpace) << c.preceding;
  }
}

TEST(CursorContext, CharactersAreGraphemesAndOnlyTheLast48Count) {
  CursorContext accent = CursorContext::fromText("caf\u0065\u0301");
  EXPECT_EQ(accent.precedingChar, "\u0065\u0301");
  EXPECT_EQ(accent.secondPrecedingChar, "f");

  // A full stop 49 characters back is outside the window: nothing before the cursor decides.
  std::string far = "End." + std::string(48, ' ');
  CursorContext window = CursorContext::fromText(far);
  EXPECT_FALSE(window.sentencePredecessor.has_value());
  EXPECT_TRUE(window.startsSentence());
  EXPECT_FALSE(window.atStart);
}

TEST(CursorContext, AnUnreadableFieldStartsASentenceWithoutALeadingSpace) {
  CursorContext context = CursorContext::unavailable();
  EXPECT_TRUE(context.startsSentence());
  EXPECT_FALSE(context.needsLeadingSpace());
}

TEST(TextInserter, OutcomeNames) {
  EXPECT_EQ(outcomeName(TextInserter::Outcome::pastedAtCursor), "pastedAtCursor");
  EXPECT_EQ(outcomeName(TextInserter::Outcome::copiedToClipboard), "copiedToClipboard");
}

}  // namespace
}  // namespace murvelo
