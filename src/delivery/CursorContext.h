#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace murvelo {

class Accessibility;

// The characters around the insertion point of the focused text field, and the two decisions the
// dictation takes from them. A "character" is a grapheme cluster, held as UTF-8.
struct CursorContext {
  bool available = false;
  bool atStart = false;
  std::optional<std::string> precedingChar;
  std::optional<std::string> secondPrecedingChar;
  std::optional<std::string> sentencePredecessor;
  std::optional<std::string> followingChar;

  static CursorContext unavailable() { return {}; }
  // Reads the focused element: its selection, the character after the selection and up to 48
  // characters before it, at most three round trips. Never fails: what cannot be read gives the
  // unavailable context, or only an absent `followingChar` when just that read fails.
  static CursorContext read(Accessibility& accessibility);
  // The record for a cursor after `preceding` (at most the last 48 characters matter; empty
  // means the start of the field) with `following` after the selection.
  static CursorContext fromText(std::string_view preceding,
                                std::optional<std::string> following = std::nullopt);

  // Whether dictated text here begins a sentence.
  bool startsSentence() const;
  // Whether dictated text here needs a space in front so it does not run into the word before.
  bool needsLeadingSpace() const;

  bool operator==(const CursorContext&) const = default;
};

}  // namespace murvelo
