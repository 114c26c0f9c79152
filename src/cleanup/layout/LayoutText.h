#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cleanup/FormatEdit.h"
#include "cleanup/Regex.h"

namespace murvelo::cleanup::layout {

enum class BreakKind { line, paragraph };

// The text travelling through the layout stages. Stages never put line breaks into the text
// themselves: they record a break in the gap before a token (tokens are the white-space-free runs),
// and the renderer turns the recorded breaks into newlines at the end. Stages that touch
// punctuation or case rewrite the text through `replace`, which keeps the recorded breaks on the
// tokens they belonged to.
class LayoutText {
 public:
  LayoutText(const icu::UnicodeString& text, std::vector<FormatEdit>& edits);

  const icu::UnicodeString& text() const { return text_; }
  // The protected-literal ranges of the current text; a stage leaves any match that touches one.
  const std::vector<TextRange>& protectedRanges() const { return protected_; }
  // The token ranges of the current text, in order.
  const std::vector<TextRange>& tokens() const { return tokens_; }
  std::vector<FormatEdit>& edits() { return edits_; }

  // The index of the first token that starts at or after `offset` (the token count when none).
  int firstTokenFrom(std::int32_t offset) const;

  // Records a break in the gap before the first token at or after `offset`, with one edit under
  // `rule`. Refused (false) for the first token, for a gap inside a protected range, and when the
  // gap already carries a break of that kind or stronger. A paragraph break replaces a line break.
  bool breakBefore(std::int32_t offset, BreakKind kind, const std::string& rule);
  void removeBreak(int tokenIndex) { breaks_.erase(tokenIndex); }
  bool hasBreakBefore(std::int32_t offset) const;
  const std::map<int, BreakKind>& breaks() const { return breaks_; }
  // True when the text holds a blank line or a paragraph break has been recorded.
  bool hasParagraphBreak() const;

  // Replaces `range` (which must not touch a protected range; the caller checks) and records one
  // edit (none when `rule` is empty). Breaks recorded after the range move with their tokens.
  void replace(TextRange range, const icu::UnicodeString& with, const std::string& rule);

  // Where the message proper begins (after a dictated e-mail command), in UTF-16 units.
  std::int32_t messageStart = 0;
  // Whether the speaker said "colon" / "semicolon": cleanup turns the words into marks, and a mark
  // that was dictated separates list items as the spoken word would.
  bool dictatedColon = false;
  bool dictatedSemicolon = false;
  // Set by a stage whose result the sentence-final closing-mark stage must leave alone.
  bool skipClosingMarks = false;

 private:
  void rescan();

  icu::UnicodeString text_;
  std::vector<FormatEdit>& edits_;
  std::vector<TextRange> protected_;
  std::vector<TextRange> tokens_;
  std::map<int, BreakKind> breaks_;
};

// The pattern that cuts a text into tokens for the break indexes: runs without white space, so
// that a gap between two tokens is only white space.
inline const std::string kLayoutTokenPattern = R"(\S+)";

// Sentences of `text` from `from` on: ranges without the white space between them. A full stop
// after a title or a run of initials ("Dr.", "J.R.") does not end a sentence.
std::vector<TextRange> sentencesOf(const icu::UnicodeString& text, std::int32_t from = 0);

// The number of words (letters and digits, inner apostrophes) in `text`.
int wordCount(const icu::UnicodeString& text);

// Capitalises the first letter at or after `offset` when it is lower case; nothing when a
// protected range holds it. Returns whether it changed.
bool capitaliseAt(LayoutText& text, std::int32_t offset, const std::string& rule);

}  // namespace murvelo::cleanup::layout
