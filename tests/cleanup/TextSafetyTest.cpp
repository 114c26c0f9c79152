#include <gtest/gtest.h>

#include "cleanup/DictationTextSafety.h"

namespace murvelo::cleanup {
namespace {

TEST(TextSafety, ProtectedLiterals) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"run `git  status` now", {"`git  status`"}},
      {"run ``a ` b`` now", {"``a ` b``"}},
      {"she said \"hello there and", {"\"hello there and"}},  // unterminated: to the end
      {"he said \u201Cfine\u201D ok", {"\u201Cfine\u201D"}},
      {"don't worry O'Brien", {}},  // apostrophes open nothing
      {"say 'it's fine' now", {"'it's fine'"}},
      {"visit example.com.", {"example.com."}},  // trailing stop stripped by the test
      {"mail anna.b@example.org soon", {"anna.b@example.org"}},
      {"open https://x.io/a?b=c, then", {"https://x.io/a?b=c,"}},
      {"the word is um okay", {"word is um"}},
  };
  for (const auto& [text, literals] : cases)
    EXPECT_EQ(protectedLiterals(std::string_view(text)), literals) << text;
}

TEST(TextSafety, TouchingRangesMerge) {
  // A quote that runs straight into a link is one span.
  EXPECT_EQ(protectedRanges(std::string_view("x \"a\"https://b.io y")), (std::vector<TextRange>{{2, 15}}));
}

TEST(TextSafety, LinkTest) {
  const std::pair<const char*, bool> cases[] = {
      {"@b.co", false},
      {"3.5", false},
      {"ex_ample.com", false},
      // Numbers, versions and dotted abbreviations are not host names.
      {"2.1,", false},
      {"a.m.", false},
      {"192.168.0.1", false},
      {"node.js", true},
  };
  for (const auto& [token, link] : cases) EXPECT_EQ(isLinkLike(token), link) << token;
}

TEST(TextSafety, LayoutInvariants) {
  struct Case {
    const char* output;
    const char* input;
    std::optional<std::string> violation;
  };
  const Case cases[] = {
      {"Hi Anna,\n\nThanks.", "Hi Anna, thanks.", std::nullopt},
      {"", "text", "empty"},
      {"Hi there.", "Hi, there, friend.", "changed-word-sequence"},
      {"don’t stop", "Don't stop", std::nullopt},  // curly apostrophe and case are the same word
      {"I have 2 cats", "I have two cats", "changed-word-sequence"},
      {"pay 5 now", "pay $5 now", "changed-number-spelling"},
      {"ok. Really", "ok? Really", "changed-question-count"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(layoutInvariantViolation(c.output, c.input), c.violation) << c.output;
  }
}

TEST(TextSafety, GuardsAndReconcile) {
  struct Case {
    const char* cleaned;
    const char* raw;
    std::optional<std::string> failed;
  };
  const Case cases[] = {
      {"Run `ls -l`.", "run `ls  -l`", "tidy-changed-protected-literal"},
      {"Run `ls -l`.", "run `ls -l`", std::nullopt},
      {"Go. If it rains. we stay", "Go. if it rains. we stay", "ambiguous-tidy-conditional-join"},
      {"Go. \"If it rains. we stay\"", "Go. \"If it rains. we stay\"", std::nullopt},  // inside a quote
      {"Meet Friday.", "meet Monday? no wait, how about Friday?", "tidy-dropped-question-mark"},
      {"How about Friday?", "Monday no wait how about Friday?", std::nullopt},  // absorbed
  };
  for (const auto& c : cases) {
    const auto result = reconcile(c.cleaned, c.raw);
    EXPECT_EQ(result.failedCheck, c.failed) << c.raw;
    EXPECT_EQ(result.text, c.failed ? std::string(c.raw) : std::string(c.cleaned)) << c.raw;
  }
}

TEST(TextSafety, HostileInputNeitherCrashesNorHangs) {
  std::string text(20000, '"');
  text += "\xff\xfe broken \xc3";
  EXPECT_NO_FATAL_FAILURE(protectedRanges(std::string_view(text)));
  EXPECT_FALSE(hasAmbiguousConditionalJoin(text));
}

}  // namespace
}  // namespace murvelo::cleanup
