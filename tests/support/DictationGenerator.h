#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace murvelo::testing {

// Makes dictation-like texts from the cleanup's own vocabulary: everyday words, hesitations,
// fillers, correction cues and correction-shaped phrases, spoken punctuation, quotes, backticks,
// links, e-mail addresses, emoji, and (when asked) invalid UTF-8. Seeded, so a failure can be
// reproduced from its seed.
class DictationGenerator {
 public:
  // `special` is the share of pieces that are not plain words (fillers, corrections, cues, marks):
  // everyday dictation has few of them, a stress test many.
  explicit DictationGenerator(std::uint32_t seed, double special = 0.35) : random_(seed), special_(special) {}

  // About `words` words of dictation.
  std::string dictation(std::size_t words) {
    std::string out;
    for (std::size_t n = 0; n < words;) {
      const std::string_view piece = pickPiece();
      if (!out.empty()) out += ' ';
      out += piece;
      n += 1 + static_cast<std::size_t>(std::count(piece.begin(), piece.end(), ' '));
    }
    return out;
  }

  // Text of about `characters` characters.
  std::string ofLength(std::size_t characters) {
    std::string out;
    while (out.size() < characters) {
      if (!out.empty()) out += ' ';
      out += pickPiece();
    }
    out.resize(characters);
    return out;
  }

  // A hostile input: any of the pieces above, literals, emoji, marks and broken bytes, up to
  // `maxLength` bytes, then mutated.
  std::string hostile(std::size_t maxLength) {
    std::uniform_int_distribution<std::size_t> length(0, maxLength);
    const std::size_t target = length(random_);
    std::string out;
    while (out.size() < target) {
      switch (pick(6)) {
        case 0: out += kLiterals[pick(std::size(kLiterals))]; break;
        case 1: out += kOddments[pick(std::size(kOddments))]; break;
        default: out += pickPiece(); break;
      }
      out += kSeparators[pick(std::size(kSeparators))];
    }
    if (out.size() > maxLength) out.resize(maxLength);
    const std::size_t mutations = pick(4);
    for (std::size_t m = 0; m < mutations && !out.empty(); ++m) {
      const std::size_t at = pick(out.size());
      switch (pick(3)) {
        case 0: out[at] = static_cast<char>(pick(256)); break;  // any byte, valid or not
        case 1: out.erase(at, pick(8)); break;                  // cut a piece out
        default: out.insert(at, kOddments[pick(std::size(kOddments))]); break;
      }
    }
    return out;
  }

  std::size_t pick(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
  }

 private:
  std::string_view pickPiece() {
    if (std::uniform_real_distribution<double>(0, 1)(random_) >= special_)
      return kWords[pick(std::size(kWords))];
    const std::size_t kind = pick(7);
    if (kind < 2) return kFillers[pick(std::size(kFillers))];
    if (kind < 4) return kCorrections[pick(std::size(kCorrections))];
    if (kind < 6) return kCues[pick(std::size(kCues))];
    return kPunctuation[pick(std::size(kPunctuation))];
  }

  static constexpr std::string_view kWords[] = {
      "the",      "a",        "we",      "I",      "you",     "it",      "is",     "was",     "meeting",
      "project",  "tomorrow", "Monday",  "Friday", "send",    "email",   "report", "to",      "with",
      "for",      "and",      "but",     "so",     "because", "when",    "if",     "please",  "team",
      "budget",   "review",   "notes",   "later",  "today",   "three",   "twenty", "hundred", "12",
      "3:30",     "$40",      "version", "room",   "gate",    "Sarah",   "Boston", "desk",    "folder",
      "blue",     "red",      "i'm",     "i'll",   "don't",   "O'Brien", "period", "grace",   "comma",
      "question", "mark",     "new",     "line",   "um",      "uh",      "hmm",    "like",    "know",
      "maybe",    "not",      "between", "out",    "of",      "said",    "word",   "exactly", "3.5",
      "a.m.",     "etc.",     "Dr.",     "IV.",    "really",  "totally", "looks",  "about",   "how"};
  static constexpr std::string_view kFillers[] = {
      "like,",     ", like,",   "you know,",          ", you know,",     "Like,",
      "You know,", "but like,", "so like, you know,", "was like really", "um,",
      "uh.",       "erm",       "the word is um"};
  static constexpr std::string_view kCorrections[] = {
      "Monday at 3, no wait, Tuesday at 4",
      "50 dollars, sorry, 60 dollars",
      "fifty dollars, no, sixty dollars",
      "three boxes, no, four boxes",
      "two cups of flour, sorry, two spoons",
      "bring 3 chairs for the guests, make it 5",
      "locker 12 B, no, 14 C",
      "the red folder, no wait, the blue folder",
      "under the desk, no, behind the desk",
      "to Boston, no wait, to Denver",
      "3 items, sorry, 4",
      "20 minutes, wait, 30",
      "room 12, no wait, 14",
      "version 2.1, no wait, version 2.2",
      "let's do Thursday, actually how about Friday is better",
      "email Sarah, no wait, Sara Jones",
      "We meet at 3 PM. No wait, we meet at 4 PM.",
      "maybe Monday, no wait, Tuesday",
      "he said no, wait, Tuesday"};
  static constexpr std::string_view kCues[] = {"no wait,", "sorry,",  "I mean", "scratch that", "correction",
                                               "actually", "make it", ", no,",  "wait, no,",    "oh no wait"};
  static constexpr std::string_view kPunctuation[] = {",",
                                                      ".",
                                                      "?",
                                                      "!",
                                                      ";",
                                                      ":",
                                                      "...",
                                                      "…",
                                                      "\n",
                                                      "\n\n",
                                                      "new paragraph",
                                                      "full stop",
                                                      "exclamation point"};
  // Protected literals: quotes, backtick code, links and addresses (some left unterminated).
  static constexpr std::string_view kLiterals[] = {
      "`git  status`",        "``a ` b``",          "\"hello  there\"",      "\u201Cfine, no wait\u201D",
      "'it's, like, fine'",   "https://x.io/a?b=c", "www.example.org",       "anna.b@example.org",
      "example.com/path?x=1", "\"unterminated um",  "`open, no wait, close", "node.js"};
  static constexpr std::string_view kOddments[] = {"\U0001F600", "\U0001F44D\U0001F3FD",
                                                   "\u00E9",     "\u200B",
                                                   "\xff",       "\xc3",
                                                   "\xe2\x80",   "\xed\xa0\x80",
                                                   "\t",         "  ",
                                                   "\r\n",       "\\",
                                                   "$1",         "(",
                                                   ")",          "\u2019",
                                                   "((((((((",   "aaaaaaaaaaaaaaaaaaaa"};
  static constexpr std::string_view kSeparators[] = {" ", " ", " ", ", ", ". ", "\n", "  "};

  std::mt19937 random_;
  double special_;
};

}  // namespace murvelo::testing
