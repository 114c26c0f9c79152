#include <gtest/gtest.h>

#include "cleanup/Regex.h"
#include "cleanup/layout/LayoutRenderer.h"

namespace murvelo::cleanup::layout {
namespace {

struct Case {
  const char* text;
  std::vector<int> breaks;
  std::set<int> lines;
  std::set<int> paragraphs;
  const char* expected;  // the text, or the failure identifier
};

TEST(FormatRenderer, BreaksBecomeNewlines) {
  const Case cases[] = {
      {"a b c", {1, 2}, {1}, {2}, "a\nb\n\nc"},
      {"one.  \t two", {1}, {1}, {}, "one.\ntwo"},      // spaces around the break go
      {"a\n\nb", {1}, {1}, {}, "a\n\nb"},               // enough newlines already
      {"a \n b", {1}, {1}, {}, "a \n b"},               // one newline is enough for a line
      {"a \n b", {1}, {}, {1}, "a\n\nb"},               // not for a paragraph
      {"  lead a b  ", {2}, {2}, {}, "  lead a\nb  "},  // outer white space stays
      {"\u00C9t\u00E9 fini. Oui.", {2}, {}, {2}, "\u00C9t\u00E9 fini.\n\nOui."},
      {"", {}, {}, {}, ""},
  };
  for (const auto& c : cases) {
    const Rendered rendered = renderBreaks(fromUtf8(c.text), c.breaks, c.lines, c.paragraphs);
    EXPECT_EQ(rendered.failure, "") << c.text;
    EXPECT_EQ(toUtf8(rendered.text), c.expected) << c.text;
  }
}

TEST(FormatRenderer, InvalidBreakIndex) {
  const Case cases[] = {
      {"a b c", {0}, {0}, {}, ""},     // before the first token
      {"a b c", {3}, {3}, {}, ""},     // past the last gap
      {"a b c", {1}, {}, {}, ""},      // a break of no kind
      {"a b c", {1}, {1}, {1}, ""},    // a break of both kinds
      {"a b c", {1, 2}, {1}, {}, ""},  // lists of different lengths
      {"   ", {1}, {1}, {}, ""},       // no tokens, no gaps
  };
  for (const auto& c : cases) {
    const Rendered rendered = renderBreaks(fromUtf8(c.text), c.breaks, c.lines, c.paragraphs);
    EXPECT_EQ(rendered.failure, "invalid-break-index") << c.text;
    EXPECT_EQ(toUtf8(rendered.text), c.text);
  }
}

TEST(FormatRenderer, RefusesToDropMoreThanWhiteSpace) {
  // With word tokens the gap between "milk" and "Eggs" holds ". ": replacing it would drop the
  // full stop, and the renderer's own invariant catches that.
  const Rendered rendered = renderBreaks(fromUtf8("Milk. Eggs."), {1}, {1}, {}, R"(\p{L}+)");
  EXPECT_EQ(rendered.failure, "renderer-invariant-failed");
  EXPECT_EQ(toUtf8(rendered.text), "Milk. Eggs.");
}

}  // namespace
}  // namespace murvelo::cleanup::layout
