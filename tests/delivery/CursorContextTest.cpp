#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include "delivery/CursorContext.h"
#include "delivery/FocusedText.h"

namespace murvelo {
namespace {

// A text field in code-point offsets, as the accessibility API counts them; it records every read.
struct FakeField : Accessibility {
  FakeField(const std::string& utf8, std::optional<TextRange> range)
      : text(icu::UnicodeString::fromUTF8(utf8)), selection(range) {}
  icu::UnicodeString text;
  std::optional<TextRange> selection;
  bool focused = true, failPreceding = false, failFollowing = false;
  std::vector<TextRange> reads;

  struct Text : FocusedText {
    explicit Text(FakeField& field) : f(field) {}
    std::optional<TextRange> selectedRange() override { return f.selection; }
    std::optional<std::string> stringForRange(TextRange range) override {
      f.reads.push_back(range);
      bool following =
          range.location >= f.selection->location + std::max<std::int64_t>(f.selection->length, 0);
      if (following ? f.failFollowing : f.failPreceding) return std::nullopt;
      auto at = [&](std::int64_t points) {
        return f.text.moveIndex32(0,
                                  static_cast<int32_t>(std::min<std::int64_t>(points, f.text.countChar32())));
      };
      std::string out;
      return f.text.tempSubStringBetween(at(range.location), at(range.location + range.length))
          .toUTF8String(out);
    }
    FakeField& f;
  };
  std::unique_ptr<FocusedText> focusedText() override {
    return focused ? std::make_unique<Text>(*this) : nullptr;
  }
};

// What a real GTK field cannot be made to report on demand: odd ranges, offsets that fall inside a
// grapheme's code points, and reads that fail.
TEST(CursorContextRead, ReadsAroundTheSelectionAndAFailedReadLosesOnlyWhatItMust) {
  const std::string accented = "e\u0301";
  const auto unavailable = CursorContext::unavailable();
  struct Case {
    const char* name;
    std::string text;
    std::optional<TextRange> selection;  // in code points
    CursorContext expected;
    std::size_t reads;
    bool focused = true, failPreceding = false, failFollowing = false;
  };
  const Case cases[] = {
      {"start of a field with text", "Hello", TextRange{0, 0}, CursorContext::fromText("", "H"), 1},
      {"negative length counts as none", "ab", TextRange{1, -4}, CursorContext::fromText("a", "b"), 2},
      {"combining mark stays with its letter", "caf" + accented + accented, TextRange{5, 0},
       CursorContext::fromText("caf" + accented, accented), 2},
      {"negative location is the start", "hello", TextRange{-3, 0}, CursorContext::fromText(""), 0},
      {"no focused field", "hello", TextRange{5, 0}, unavailable, 0, false},
      {"no selection", "hello", std::nullopt, unavailable, 0},
      {"text before fails", "hello there", TextRange{5, 0}, unavailable, 2, true, true},
      {"text after fails", "hello there", TextRange{5, 0}, CursorContext::fromText("hello"), 2, true, false,
       true},
      {"text after fails at the start", "hello", TextRange{0, 0}, CursorContext::fromText(""), 1, true, false,
       true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakeField field{c.text, c.selection};
    field.focused = c.focused;
    field.failPreceding = c.failPreceding;
    field.failFollowing = c.failFollowing;
    EXPECT_EQ(CursorContext::read(field), c.expected);
    EXPECT_EQ(field.reads.size(), c.reads);
  }
}

// Far into a long text only a bounded span before the cursor is read, and only 48 characters of it
// count: a full stop 49 characters back decides nothing.
TEST(CursorContextRead, OnlyTheLast48CharactersCount) {
  FakeField far{std::string(500, 'a') + "." + std::string(48, ' ') + "x", TextRange{549, 0}};
  CursorContext farContext = CursorContext::read(far);
  ASSERT_EQ(far.reads.size(), 2u);
  EXPECT_GT(far.reads[1].location, 0);
  EXPECT_EQ(far.reads[1].location + far.reads[1].length, 549);
  EXPECT_FALSE(farContext.sentencePredecessor);
  EXPECT_EQ(farContext.followingChar, "x");

  FakeField near{std::string(500, 'a') + "." + std::string(47, ' '), TextRange{548, 0}};
  EXPECT_EQ(CursorContext::read(near).sentencePredecessor, ".");
}

TEST(CursorContext, DecisionsFromTheTextBeforeTheCursor) {
  struct Case {
    const char* preceding;
    bool startsSentence;
    bool needsLeadingSpace;
  };
  // The usual cases are read from a real field in the accessibility tests.
  const Case cases[] = {
      {"Done.)", true, true},      // a closing bracket after the full stop
      {"\"", true, false},         // a lone quote: nothing before it decides
      {"list:\r\n", true, false},  // CRLF is one character
      {"so\u2026", true, true},    // ellipsis
      {"\u201C", false, false},    // left double quotation mark
  };
  for (const auto& c : cases) {
    CursorContext context = CursorContext::fromText(c.preceding);
    EXPECT_EQ(context.startsSentence(), c.startsSentence) << c.preceding;
    EXPECT_EQ(context.needsLeadingSpace(), c.needsLeadingSpace) << c.preceding;
  }
}

}  // namespace
}  // namespace murvelo
