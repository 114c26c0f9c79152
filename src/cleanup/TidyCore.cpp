// Stage 0 of the Tidy engine: a word-by-word pass over the transcript, as a table of small passes.
#include <unicode/uchar.h>

#include <array>
#include <functional>

#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"
#include "cleanup/TidyPatterns.h"
#include "cleanup/TidyText.h"
#include "cleanup/TidyWordSets.h"

namespace murvelo::cleanup {
namespace {

using words::Set;

const std::string kDottedAbbreviation = R"(^(?:\p{L}{1,4}\.)+\p{L}{1,4}$)";

struct Token {
  icu::UnicodeString text;
  icu::UnicodeString gapBefore;  // the white space before the token, normalised unless protected
  bool literal = false;          // inside a protected span: never changed
};

struct Options {
  bool sentenceStart;
  bool punctuate;   // spoken punctuation, commas after openers, the closing full stop
  bool capitalise;  // sentence capitals and the pronoun I
};

bool isMark(UChar c) {
  return c == u',' || c == u'.' || c == u'!' || c == u'?' || c == u';' || c == u':' || c == u'\u2026';
}
bool isClosing(UChar c) {
  return c == u'"' || c == u'\'' || c == u'\u201D' || c == u'\u2019' || c == u')' || c == u']';
}

std::int32_t trailingMarksStart(const icu::UnicodeString& token) {
  std::int32_t at = token.length();
  while (at > 0 && isMark(token.charAt(at - 1))) --at;
  return at;
}

bool endsSentence(const Token& token) {
  std::int32_t end = token.text.length();
  while (end > 0 && isClosing(token.text.charAt(end - 1))) --end;
  if (end == 0) return false;
  const UChar last = token.text.charAt(end - 1);
  if (last == u'?' || last == u'!') return true;
  if (last != u'.') return false;
  if (end >= 2 && token.text.charAt(end - 2) == u'.') return false;  // an ellipsis trails off
  const icu::UnicodeString bare(token.text, 0, end - 1);
  if (words::contains(Set::abbreviationsNotEnding, wordCore(bare))) return false;
  return !matchesWhole(kDottedAbbreviation, bare);
}

std::vector<Token> tokenize(const icu::UnicodeString& text) {
  const auto ranges = protectedRanges(text);
  std::vector<Token> tokens;
  std::int32_t at = 0;
  const std::int32_t length = text.length();
  while (at < length) {
    const std::int32_t gapStart = at;
    while (at < length && u_isUWhiteSpace(text.char32At(at))) at = text.moveIndex32(at, 1);
    if (at >= length) break;
    const std::int32_t start = at;
    while (at < length && !u_isUWhiteSpace(text.char32At(at))) at = text.moveIndex32(at, 1);
    Token token;
    token.text = icu::UnicodeString(text, start, at - start);
    token.literal = intersectsAny({start, at - start}, ranges);
    const TextRange gap{gapStart, start - gapStart};
    if (gap.length > 0 && intersectsAny(gap, ranges)) {
      token.gapBefore = icu::UnicodeString(text, gap.location, gap.length);
    } else if (!tokens.empty()) {
      const icu::UnicodeString gapText(text, gap.location, gap.length);
      int newlines = 0;
      for (std::int32_t i = 0; i < gapText.length(); ++i) newlines += gapText.charAt(i) == u'\n' ? 1 : 0;
      token.gapBefore = newlines == 0 ? u" " : newlines == 1 ? u"\n" : u"\n\n";
    }
    tokens.push_back(std::move(token));
  }
  return tokens;
}

icu::UnicodeString render(const std::vector<Token>& tokens) {
  icu::UnicodeString out;
  for (const auto& token : tokens) out.append(token.gapBefore).append(token.text);
  return out;
}

bool isWordToken(const Token& token) {
  return !token.literal && !token.text.isEmpty() && u_isalpha(token.text.char32At(0));
}

// Replaces the token's trailing marks by `mark`.
void setTrailingMark(Token& token, const icu::UnicodeString& mark) {
  const std::int32_t start = trailingMarksStart(token.text);
  token.text.truncate(start);
  token.text.append(mark);
}

// --- The passes -------------------------------------------------------------------------------

bool removeHesitations(std::vector<Token>& tokens, const Options&) {
  bool changed = false;
  for (std::size_t i = 0; i < tokens.size();) {
    Token& token = tokens[i];
    const std::int32_t marks = trailingMarksStart(token.text);
    const icu::UnicodeString bare(token.text, 0, marks);
    if (token.literal || !words::contains(Set::hesitations, lowerUtf8(bare))) {
      ++i;
      continue;
    }
    const icu::UnicodeString trailing(token.text, marks);
    // A sentence end carried by the hesitation moves to the word before it.
    const bool endMark =
        trailing.indexOf(u'.') >= 0 || trailing.indexOf(u'?') >= 0 || trailing.indexOf(u'!') >= 0;
    if (endMark && i > 0 && !tokens[i - 1].literal &&
        trailingMarksStart(tokens[i - 1].text) == tokens[i - 1].text.length()) {
      tokens[i - 1].text.append(trailing);
    }
    if (i + 1 < tokens.size() && !tokens[i + 1].literal && tokens[i].gapBefore.indexOf(u'\n') >= 0) {
      tokens[i + 1].gapBefore = tokens[i].gapBefore;
    }
    if (i == 0 && i + 1 < tokens.size() && !tokens[i + 1].literal) tokens[i + 1].gapBefore.remove();
    tokens.erase(tokens.begin() + static_cast<std::ptrdiff_t>(i));
    changed = true;
  }
  // "Well, um, I think" loses the hesitation and keeps one comma: nothing more to do, since the
  // hesitation's own comma left with it.
  return changed;
}

struct SpokenMark {
  std::array<std::string_view, 2> words;  // second empty for one-word commands
  const char16_t* mark;
  bool lineBreak;
};

const SpokenMark kSpokenMarks[] = {
    {{"new", "paragraph"}, u"\n\n", true},   {{"new", "line"}, u"\n", true},
    {{"full", "stop"}, u".", false},         {{"question", "mark"}, u"?", false},
    {{"exclamation", "point"}, u"!", false}, {{"exclamation", "mark"}, u"!", false},
    {{"period", ""}, u".", false},           {{"comma", ""}, u",", false},
    {{"semicolon", ""}, u";", false},        {{"colon", ""}, u":", false},
};

bool spokenPunctuation(std::vector<Token>& tokens, const Options& options) {
  if (!options.punctuate) return false;
  bool changed = false;
  for (std::size_t i = 1; i < tokens.size(); ++i) {
    if (tokens[i].literal || tokens[i - 1].literal) continue;
    for (const auto& spoken : kSpokenMarks) {
      const bool twoWords = !spoken.words[1].empty();
      const std::size_t last = twoWords ? i + 1 : i;
      if (last >= tokens.size() || tokens[last].literal) continue;
      if (wordCore(tokens[i].text) != spoken.words[0]) continue;
      if (twoWords && wordCore(tokens[last].text) != spoken.words[1]) continue;
      // Inside the words of a phrase, the same words are nouns: "a comma", "the grace period".
      const std::string previous = wordCore(tokens[i - 1].text);
      if (words::contains(Set::determiners, previous) || words::contains(Set::prepositions, previous)) break;
      // "grace period", "oxford comma": the noun, not the mark.
      if ((spoken.words[0] == "period" || spoken.words[0] == "comma") &&
          words::contains(Set::nounsBeforePeriod, previous)) {
        break;
      }
      // A comma, colon or semicolon is only dictated between words.
      if (!twoWords && spoken.words[0] != "period" && last + 1 >= tokens.size()) break;
      if (tokens[i].gapBefore.indexOf(u'\n') >= 0) break;
      if (spoken.lineBreak) {
        if (last + 1 >= tokens.size()) break;
        if (words::contains(Set::listWordNeighbours, wordCore(tokens[last + 1].text))) break;
        if (tokens[last + 1].literal && tokens[last + 1].gapBefore.length() != 1) break;
        tokens[last + 1].gapBefore = spoken.mark;
      } else {
        if (!u_isalnum(tokens[i - 1].text.char32At(tokens[i - 1].text.length() - 1)) &&
            trailingMarksStart(tokens[i - 1].text) == tokens[i - 1].text.length()) {
          break;  // nothing sensible to attach the mark to
        }
        setTrailingMark(tokens[i - 1], spoken.mark);
        if (last + 1 < tokens.size() && tokens[i].gapBefore.indexOf(u'\n') < 0 &&
            tokens[last + 1].gapBefore.indexOf(u'\n') < 0 && !tokens[last + 1].literal) {
          tokens[last + 1].gapBefore = u" ";
        }
      }
      tokens.erase(tokens.begin() + static_cast<std::ptrdiff_t>(i),
                   tokens.begin() + static_cast<std::ptrdiff_t>(last + 1));
      changed = true;
      --i;
      break;
    }
  }
  return changed;
}

bool punctuationSpacing(std::vector<Token>& tokens, const Options&) {
  bool changed = false;
  for (std::size_t i = 0; i < tokens.size();) {
    Token& token = tokens[i];
    // A mark standing alone belongs to the word before it: "hello , world".
    if (i > 0 && !token.literal && !tokens[i - 1].literal && trailingMarksStart(token.text) == 0 &&
        token.gapBefore.indexOf(u'\n') < 0 && token.text != u"\u2026" && token.text != u"...") {
      tokens[i - 1].text.append(token.text);
      tokens.erase(tokens.begin() + static_cast<std::ptrdiff_t>(i));
      changed = true;
      continue;
    }
    if (!token.literal) {
      // Doubled marks collapse to the strongest one; an ellipsis stays as it is.
      const std::int32_t start = trailingMarksStart(token.text);
      const icu::UnicodeString run(token.text, start);
      if (run.length() >= 2 && run != u"..." && run != u"?!" && run != u"!?" && run.indexOf(u'\u2026') < 0) {
        UChar keep = run.charAt(0);
        for (std::int32_t k = 0; k < run.length(); ++k) {
          const UChar c = run.charAt(k);
          if (c == u'?' || c == u'!' || (c == u'.' && keep != u'?' && keep != u'!')) keep = c;
        }
        setTrailingMark(token, icu::UnicodeString(keep));
        changed = true;
      }
    }
    ++i;
  }
  return changed;
}

bool pronounI(std::vector<Token>& tokens, const Options& options) {
  if (!options.capitalise) return false;
  bool changed = false;
  for (auto& token : tokens) {
    if (token.literal || token.text.isEmpty() || token.text.charAt(0) != u'i') continue;
    if (words::contains(Set::pronounI, wordCore(token.text))) {
      token.text.setCharAt(0, u'I');
      changed = true;
    }
  }
  return changed;
}

// A recogniser that prints lower case leaves day names small; they are names wherever they stand.
bool weekdayNames(std::vector<Token>& tokens, const Options& options) {
  if (!options.capitalise) return false;
  bool changed = false;
  for (auto& token : tokens) {
    if (token.literal || token.text.isEmpty() || !u_islower(token.text.char32At(0))) continue;
    const std::int32_t end = trailingMarksStart(token.text);
    const icu::UnicodeString word(token.text, 0, end);
    if (!words::contains(Set::weekdays, lowerUtf8(word)) || word != icu::UnicodeString(word).toLower())
      continue;
    token.text.setCharAt(0, static_cast<UChar>(u_toupper(token.text.charAt(0))));
    changed = true;
  }
  return changed;
}

bool atSentenceStart(const std::vector<Token>& tokens, std::size_t i, const Options& options) {
  if (i == 0) return options.sentenceStart;
  return endsSentence(tokens[i - 1]) || tokens[i].gapBefore.indexOf(u'\n') >= 0;
}

bool introductoryComma(std::vector<Token>& tokens, const Options& options) {
  if (!options.punctuate) return false;
  bool changed = false;
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    if (i > 0 && !atSentenceStart(tokens, i, options)) continue;
    std::string phrase;
    for (std::size_t n = 0; n < 5 && i + n + 1 < tokens.size(); ++n) {
      const Token& word = tokens[i + n];
      if (!isWordToken(word) || (n > 0 && word.gapBefore != u" ")) break;
      phrase += (n > 0 ? " " : "") + wordCore(word.text);
      if (trailingMarksStart(word.text) != word.text.length()) break;
      if (n > 0 && words::contains(Set::introductoryPhrases, phrase) && isWordToken(tokens[i + n + 1]) &&
          tokens[i + n + 1].gapBefore == u" ") {
        tokens[i + n].text.append(u',');
        changed = true;
        break;
      }
    }
  }
  return changed;
}

bool sentenceCapitals(std::vector<Token>& tokens, const Options& options) {
  if (!options.capitalise) return false;
  bool changed = false;
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    Token& token = tokens[i];
    if (token.literal || !atSentenceStart(tokens, i, options)) continue;
    const UChar32 first = token.text.char32At(0);
    if (!u_islower(first)) continue;
    // Words with capitals of their own ("iPhone", "eBay") are written as their makers write them.
    bool mixed = false;
    for (std::int32_t k = 1; k < token.text.length(); ++k) mixed = mixed || u_isupper(token.text.charAt(k));
    if (mixed) continue;
    icu::UnicodeString head(token.text, 0, U16_LENGTH(first));
    head.toUpper();
    token.text.replace(0, U16_LENGTH(first), head);
    changed = true;
  }
  return changed;
}

bool closingFullStop(std::vector<Token>& tokens, const Options& options) {
  if (!options.punctuate || tokens.empty()) return false;
  Token& last = tokens.back();
  if (last.literal) return false;  // a closing mark would change a link or quotation
  if (containsMatch(danglingEndingPattern(), render(tokens))) return false;  // the speaker trailed off
  const UChar end = last.text.charAt(last.text.length() - 1);
  if (end == u',') {
    setTrailingMark(last, u".");
    return true;
  }
  if (isMark(end) || isClosing(end)) return false;
  if (!u_isalnum(last.text.char32At(last.text.moveIndex32(last.text.length(), -1)))) return false;
  last.text.append(u'.');
  return true;
}

struct CorePass {
  const char* id;
  bool (*run)(std::vector<Token>&, const Options&);
};

// In order: words go first, then marks, then capitals, which depend on where sentences end.
const CorePass kCorePasses[] = {
    {"hesitation", removeHesitations},            // words first
    {"spoken-punctuation", spokenPunctuation},    // then marks
    {"punctuation-spacing", punctuationSpacing},  //
    {"pronoun-i", pronounI},                      // then capitals, which depend on where sentences end
    {"weekday-names", weekdayNames},              //
    {"introductory-comma", introductoryComma},    //
    {"closing-full-stop", closingFullStop},       //
    {"sentence-capitals", sentenceCapitals},      //
};

}  // namespace

const std::string& danglingEndingPattern() {
  static const std::string pattern =
      R"((?i)\b(?:whether|because|to|about|if|when|with|for|and|or|but|the|a|an|my|your|our|their|I mean|no wait|scratch that|correction)\s*$)";
  return pattern;
}

std::vector<std::string> corePatterns() { return {kDottedAbbreviation, danglingEndingPattern()}; }

std::string tidyCore(std::string_view text, bool sentenceStart, bool optionA, bool optionB,
                     std::vector<FormatEdit>& edits) {
  const icu::UnicodeString input = fromUtf8(text);
  std::vector<Token> tokens = tokenize(input);
  const Options options{sentenceStart, optionA, optionB};
  icu::UnicodeString current = render(tokens);
  if (current != input) edits.push_back({"whitespace", toUtf8(input), toUtf8(current)});
  for (const auto& pass : kCorePasses) {
    if (!pass.run(tokens, options)) continue;
    icu::UnicodeString next = render(tokens);
    if (next == current) continue;
    edits.push_back({pass.id, toUtf8(current), toUtf8(next)});
    current = std::move(next);
  }
  return toUtf8(current);
}

}  // namespace murvelo::cleanup
