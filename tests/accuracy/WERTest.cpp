#include <gtest/gtest.h>

#include <random>

#include "accuracy/WER.h"

namespace murvelo {
namespace {

using Tokens = std::vector<WER::Token>;

TEST(WERTest, NormalisationTable) {
  const std::pair<const char*, Tokens> cases[] = {
      {"It's $1,200.50!", {"its", "1200", "dollars", "50", "cents"}},
      {"$12.05", {"12", "dollars", "5", "cents"}},
      {"$12.00 and $12", {"12", "dollars", "and", "12", "dollars"}},
      {"$12.5", {"12", "dollars", "5"}},  // one decimal digit is not cents
      {"1,25 and 1,250 and 12,3456", {"1", "25", "and", "1250", "and", "12", "3456"}},
      {"1,250,000", {"1250000"}},
      {"don't don\u2019t", {"dont", "dont"}},
      {"e-mail", {"e", "mail"}},
      {"  Hello,\tWORLD\u2028again\u0085 ", {"hello", "world", "again"}},
      {"Ünïcödé café", {"ünïcödé", "café"}},
      {"", {}},
      {"bad \xff bytes", {"bad", "bytes"}},
  };
  for (const auto& [text, tokens] : cases) EXPECT_EQ(WER::normalize(text), tokens) << text;
}

TEST(WERTest, ScoresTable) {
  struct Case {
    const char* reference;
    const char* hypothesis;
    WER::Result expected;  // substitutions, deletions, insertions, hits, missed positions
    double rate;
  };
  const Case cases[] = {
      {"one two three", "", {0, 3, 0, 0, {0, 1, 2}}, 1.0},
      {"", "one two", {0, 0, 2, 0, {}}, 1.0},
      {"", "", {0, 0, 0, 0, {}}, 0.0},
      {"a b c d", "a x c", {1, 1, 0, 2, {1, 3}}, 0.5},
      {"go forward ten meters", "go forward ten meters please", {0, 0, 1, 4, {}}, 0.25},
      {"the cat sat", "the the cat sat", {0, 0, 1, 3, {}}, 1.0 / 3},
      {"a b", "c d e f", {2, 0, 2, 0, {0, 1}}, 2.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.reference) + " | " + c.hypothesis);
    WER::Result r = WER::score(c.reference, c.hypothesis);
    EXPECT_EQ(r, c.expected);
    EXPECT_DOUBLE_EQ(r.errorRate(), c.rate);
  }
}

// Whatever tie-break the back-trace takes, its steps must add up to the edit distance and
// consume both texts exactly.
TEST(WERTest, AlignmentIsConsistentWithTheEditDistanceOnRandomTexts) {
  std::mt19937 random(7);
  const Tokens vocabulary = {"a", "b", "c", "d"};
  for (int round = 0; round < 300; ++round) {
    Tokens ref, hyp;
    for (int n = random() % 9; n > 0; --n) ref.push_back(vocabulary[random() % 4]);
    for (int n = random() % 9; n > 0; --n) hyp.push_back(vocabulary[random() % 4]);

    // Plain two-row edit distance as the reference answer.
    std::vector<std::size_t> row(hyp.size() + 1);
    for (std::size_t j = 0; j <= hyp.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= ref.size(); ++i) {
      std::vector<std::size_t> next(hyp.size() + 1);
      next[0] = i;
      for (std::size_t j = 1; j <= hyp.size(); ++j) {
        next[j] = std::min({row[j] + 1, next[j - 1] + 1, row[j - 1] + (ref[i - 1] == hyp[j - 1] ? 0 : 1)});
      }
      row = next;
    }

    std::size_t errors = 0, refUsed = 0, hypUsed = 0;
    for (WER::Op op : WER::align(ref, hyp)) {
      if (op == WER::Op::hit || op == WER::Op::substitution) {
        EXPECT_EQ(ref[refUsed] == hyp[hypUsed], op == WER::Op::hit);
      }
      errors += op != WER::Op::hit;
      refUsed += op != WER::Op::insertion;
      hypUsed += op != WER::Op::deletion;
    }
    EXPECT_EQ(errors, row[hyp.size()]);
    EXPECT_EQ(refUsed, ref.size());
    EXPECT_EQ(hypUsed, hyp.size());
  }
}

}  // namespace
}  // namespace murvelo
