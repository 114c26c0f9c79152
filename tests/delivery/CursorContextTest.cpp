#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include "delivery/CursorContext.h"
#include "delivery/FocusedText.h"

namespace murvelo {
namespace {

std::u32string utf32(const std::string& text) {
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(text);
  std::u32string out(unicode.countChar32(), U'\0');
  UErrorCode status = U_ZERO_ERROR;
  unicode.toUTF32(reinterpret_cast<UChar32*>(out.data()), static_cast<int32_t>(out.size()), status);
  return out;
}

// A text field in code-point offsets, as the accessibility API counts them; it records every read.
struct FakeField {
  FakeField(const std::string& utf8, std::optional<TextRange> range) : text(utf32(utf8)), selection(range) {}
  std::u32string text;
  std::optional<TextRange> selection;
  bool focused = true;
  bool failFollowing = false;
  bool failPreceding = false;
  std::vector<TextRange> reads;
  int selectionReads = 0;
};

class FakeText : public FocusedText {
 public:
  explicit FakeText(FakeField& field) : field_(field) {}
  std::optional<TextRange> selectedRange() override {
    ++field_.selectionReads;
    return field_.selection;
  }
  std::optional<std::string> stringForRange(TextRange range) override {
    field_.reads.push_back(range);
    auto selection = *field_.selection;
    bool following = range.location >= selection.location + std::max<std::int64_t>(selection.length, 0);
    if (following ? field_.failFollowing : field_.failPreceding) return std::nullopt;
    auto size = static_cast<std::int64_t>(field_.text.size());
    auto begin = std::min(range.location, size);
    auto piece = field_.text.substr(begin, std::min(range.location + range.length, size) - begin);
    std::string out;
    icu::UnicodeString::fromUTF32(reinterpret_cast<const UChar32*>(piece.data()),
                                  static_cast<int32_t>(piece.size()))
        .toUTF8String(out);
    return out;
  }

 private:
  FakeField& field_;
};

class FakeAccessibility : public Accessibility {
 public:
  explicit FakeAccessibility(FakeField& field) : field_(field) {}
  std::unique_ptr<FocusedText> focusedText() override {
    return field_.focused ? std::make_unique<FakeText>(field_) : nullptr;
  }

 private:
  FakeField& field_;
};

CursorContext readField(FakeField& field) {
  FakeAccessibility accessibility(field);
  return CursorContext::read(accessibility);
}

using Chars = std::optional<std::string>;
const Chars none;

TEST(CursorContextRead, ReadsTheCharactersAroundTheSelection) {
  struct Case {
    const char* name;
    std::string text;
    TextRange selection;  // in code points
    bool atStart;
    Chars preceding, second, predecessor, following;
    bool startsSentence, needsLeadingSpace;
  };
  const std::string accented = "e\u0301";
  // What a real GTK field cannot be made to report on demand: odd ranges and offsets that fall
  // inside a grapheme's code points.
  const Case cases[] = {
      {"start of a field with text", "Hello", {0, 0}, true, none, none, none, "H", true, false},
      {"negative length counts as none", "ab", {1, -4}, false, "a", none, "a", "b", false, true},
      {"combining mark stays with its letter",
       "caf" + accented + accented,
       {5, 0},
       false,
       accented,
       "f",
       accented,
       accented,
       false,
       true},
  };
  for (const auto& c : cases) {
    FakeField field{c.text, c.selection};
    CursorContext context = readField(field);
    EXPECT_TRUE(context.available) << c.name;
    EXPECT_EQ(context.atStart, c.atStart) << c.name;
    EXPECT_EQ(context.precedingChar, c.preceding) << c.name;
    EXPECT_EQ(context.secondPrecedingChar, c.second) << c.name;
    EXPECT_EQ(context.sentencePredecessor, c.predecessor) << c.name;
    EXPECT_EQ(context.followingChar, c.following) << c.name;
    EXPECT_EQ(context.startsSentence(), c.startsSentence) << c.name;
    EXPECT_EQ(context.needsLeadingSpace(), c.needsLeadingSpace) << c.name;
    EXPECT_EQ(field.selectionReads, 1) << c.name;
    EXPECT_LE(field.reads.size(), 2u) << c.name;
  }
}

TEST(CursorContextRead, FailuresGiveTheUnavailableContextOrOnlyLoseTheFollowingCharacter) {
  FakeField noFocus{"hello", TextRange{5, 0}};
  noFocus.focused = false;
  EXPECT_EQ(readField(noFocus), CursorContext::unavailable());

  FakeField noSelection{"hello", std::nullopt};
  EXPECT_EQ(readField(noSelection), CursorContext::unavailable());
  EXPECT_TRUE(noSelection.reads.empty());

  FakeField noPreceding{"hello there", TextRange{5, 0}};
  noPreceding.failPreceding = true;
  EXPECT_EQ(readField(noPreceding), CursorContext::unavailable());

  FakeField noFollowing{"hello there", TextRange{5, 0}};
  noFollowing.failFollowing = true;
  CursorContext context = readField(noFollowing);
  EXPECT_EQ(context, CursorContext::fromText("hello"));
  EXPECT_FALSE(context.followingChar);

  FakeField startNoFollowing{"hello", TextRange{0, 0}};
  startNoFollowing.failFollowing = true;
  EXPECT_EQ(readField(startNoFollowing), CursorContext::fromText(""));
}

TEST(CursorContextRead, RangeReadsStayInsideTheRules) {
  // A negative location is the start of the field and its following read is never attempted.
  FakeField negative{"hello", TextRange{-3, 0}};
  CursorContext context = readField(negative);
  EXPECT_TRUE(context.available);
  EXPECT_TRUE(context.atStart);
  EXPECT_TRUE(negative.reads.empty());

  // Far into a long text only a bounded span before the cursor is read, and only 48 characters
  // of it count: a full stop 49 characters back decides nothing.
  std::string tail(48, ' ');
  FakeField far{std::string(500, 'a') + "." + tail + "x", TextRange{549, 0}};
  CursorContext farContext = readField(far);
  ASSERT_EQ(far.reads.size(), 2u);
  EXPECT_GT(far.reads[1].location, 0);
  EXPECT_EQ(far.reads[1].location + far.reads[1].length, 549);
  EXPECT_FALSE(farContext.sentencePredecessor);
  EXPECT_EQ(farContext.followingChar, "x");

  FakeField near{std::string(500, 'a') + "." + std::string(47, ' '), TextRange{548, 0}};
  EXPECT_EQ(readField(near).sentencePredecessor, ".");
}

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

}  // namespace
}  // namespace murvelo
