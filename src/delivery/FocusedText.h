#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace murvelo {

// A span of a text element in the accessibility API's own offsets, which count Unicode code
// points (not grapheme clusters).
struct TextRange {
  std::int64_t location = 0;
  std::int64_t length = 0;
  bool operator==(const TextRange&) const = default;
};

// The text element that has the keyboard focus, as the accessibility API shows it. Every call is
// a blocking round trip to the application; any failure is an empty answer.
class FocusedText {
 public:
  virtual ~FocusedText() = default;
  // The selection, or an empty range at the caret.
  virtual std::optional<TextRange> selectedRange() = 0;
  // The text of `range` as UTF-8; a range reaching past the end of the text is cut at the end.
  virtual std::optional<std::string> stringForRange(TextRange range) = 0;
};

// The desktop's accessibility service.
class Accessibility {
 public:
  virtual ~Accessibility() = default;
  // The focused element, or null when there is none or it exposes no text.
  virtual std::unique_ptr<FocusedText> focusedText() = 0;
};

}  // namespace murvelo
