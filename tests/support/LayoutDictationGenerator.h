#pragma once

#include <array>
#include <cstdint>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace murvelo::test {

// Random dictations shaped like the texts the Format level lays out: e-mails (greetings, bodies,
// closings, signatures), lists of every spoken kind, topic changes, and the literal text, numbers,
// questions and fillers that layout must leave alone. Half come as a recogniser writes them (lower
// case, little punctuation), half already punctuated. Deterministic for a seed.
class LayoutDictationGenerator {
 public:
  explicit LayoutDictationGenerator(std::uint32_t seed) : random_(seed) {}

  std::string next() {
    const bool punctuated = coin();
    std::string text;
    const int shape = pick(5);
    if (shape == 0 || coin(4)) append(text, greeting(punctuated));
    if (shape == 1) append(text, commandLine());
    const int sentences = 1 + pick(6);
    for (int i = 0; i < sentences; ++i) append(text, sentence(punctuated, i));
    if (shape == 2 || coin(4)) append(text, list(punctuated));
    if (coin(3)) append(text, closing(punctuated));
    if (coin(3)) append(text, pickOf(kNames));
    return text;
  }

  // A dictation of about `words` words (for benchmarks).
  std::string ofWords(int words) {
    std::string text = greeting(true);
    while (countWords(text) < words) append(text, pick(6) == 0 ? list(true) : sentence(true, 1));
    append(text, closing(true));
    append(text, "Sam");
    return text;
  }

 private:
  static constexpr std::array<const char*, 10> kNames = {"Anna",  "ben",     "Dr. Lee", "Mary Ann", "john",
                                                         "Priya", "O'Brien", "José",    "Team",     "mom"};
  static constexpr std::array<const char*, 8> kGreetings = {"hi",           "hello", "hey",   "dear",
                                                            "good morning", "Hi",    "Hello", "morning"};
  static constexpr std::array<const char*, 30> kPhrases = {"the report is attached",
                                                           "can we meet on friday at 3",
                                                           "i think we should wait",
                                                           "you know it was fine",
                                                           "it was, you know, pretty good",
                                                           "the budget is 2,500 dollars",
                                                           "is that okay",
                                                           "what do you think",
                                                           "please send it to Anna not Ben",
                                                           "if it is not here by friday please call the shop",
                                                           "separately we need a printer",
                                                           "on a different note lunch is at one",
                                                           "finally we left",
                                                           "the word semicolon is odd",
                                                           "run `git  status` now",
                                                           "see example.com/path?x=1 for details",
                                                           "she said \"done. separately, more\" and left",
                                                           "I mean it's not great",
                                                           "the, you know, the plan",
                                                           "we fixed 3.5 percent of it",
                                                           "call me at 555-1234",
                                                           "these are for sunday",
                                                           "then go home",
                                                           "it’s fine",
                                                           "he came 1st",
                                                           "is it number one",
                                                           "thanks for the update",
                                                           "take care of the dog",
                                                           "and",
                                                           "because"};
  static constexpr std::array<const char*, 9> kNumberWords = {"one", "two",   "three", "four", "five",
                                                              "six", "seven", "eight", "nine"};
  static constexpr std::array<const char*, 5> kOrdinals = {"1st", "2nd", "3rd", "4th", "5th"};
  static constexpr std::array<const char*, 8> kClosings = {
      "talk soon", "take care", "have a great weekend", "thanks", "best regards",
      "cheers",    "love",      "hope this helps"};
  static constexpr std::array<const char*, 6> kMarks = {".", ".", "?", "!", ",", ""};
  static constexpr std::array<const char*, 5> kGaps = {" ", " ", "  ", "\n", "\n\n"};

  int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }
  bool coin(int oneIn = 2) { return pick(oneIn) == 0; }
  template <typename List>
  std::string pickOf(const List& list) {
    return list[pick(static_cast<int>(list.size()))];
  }

  void append(std::string& text, const std::string& piece) {
    if (piece.empty()) return;
    if (!text.empty()) text += pickOf(kGaps);
    text += piece;
  }

  static int countWords(const std::string& text) {
    std::istringstream words(text);
    return static_cast<int>(std::distance(std::istream_iterator<std::string>(words), {}));
  }

  std::string capitalised(std::string s, bool punctuated) {
    if (punctuated && !s.empty() && s[0] >= 'a' && s[0] <= 'z') s[0] = static_cast<char>(s[0] - 'a' + 'A');
    return s;
  }

  std::string greeting(bool punctuated) {
    std::string g = capitalised(pickOf(kGreetings), punctuated);
    if (coin(4)) return g + (punctuated ? "," : "");
    return g + " " + pickOf(kNames) + (punctuated ? pickOf(kMarks) : "");
  }

  std::string commandLine() {
    return coin() ? "Email " + pickOf(kNames) + ", subject the plan." : "Write to " + pickOf(kNames) + ".";
  }

  std::string sentence(bool punctuated, int index) {
    std::string s = pickOf(kPhrases);
    if (coin(3)) s += " " + pickOf(kPhrases);
    if (index > 0 && coin(5)) s = "the " + pickOf(kNumberWords) + " thing is " + s;
    return capitalised(s, punctuated) + (punctuated ? pickOf(kMarks) : "");
  }

  std::string list(bool punctuated) {
    const int items = 2 + pick(4);
    std::string out;
    const int kind = pick(6);
    if (coin())
      out = capitalised("I need " + std::string(kNumberWords[items - 1]) + " things", punctuated) +
            (kind == 2    ? " colon"
             : punctuated ? (coin() ? ":" : ".")
                          : "");
    for (int i = 0; i < items; ++i) {
      std::string item;
      switch (kind) {
        case 0:
          item = std::string(coin(4) ? "and " : "") + "number " + kNumberWords[i] + ", " + pickOf(kPhrases);
          break;
        case 1: item = std::string(kOrdinals[i]) + ", " + pickOf(kPhrases); break;
        case 2: item = pickOf(kPhrases) + (i + 1 < items ? " semicolon" : ""); break;
        case 3: item = std::string(1, static_cast<char>('A' + i)) + ", " + pickOf(kPhrases); break;
        case 4:
          item = std::string(i == 0 ? "first" : i == 1 ? "second" : "finally") + ", " + pickOf(kPhrases);
          break;
        default:
          item = "the " +
                 std::string(i == 0   ? "first"
                             : i == 1 ? "second"
                                      : "third") +
                 " thing is " + pickOf(kPhrases);
          break;
      }
      append(out, capitalised(item, punctuated) + (punctuated ? (kind == 3 ? "," : ".") : ""));
    }
    return out;
  }

  std::string closing(bool punctuated) {
    return capitalised(pickOf(kClosings), punctuated) + (punctuated ? pickOf(kMarks) : "");
  }

  std::mt19937 random_;
};

}  // namespace murvelo::test
