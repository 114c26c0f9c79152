#pragma once

#include <cstdint>
#include <string_view>

namespace murvelo {

// Puts finished text where the user is typing: pasted at the cursor, or left on the clipboard
// when pasting is off or not permitted. Main thread only.
class TextInserter {
 public:
  enum class Outcome { pastedAtCursor, copiedToClipboard };

  virtual ~TextInserter() = default;
  // `run` only tags diagnostics (0 outside a dictation).
  virtual Outcome insert(std::string_view text, bool autoPaste, std::int64_t run) = 0;
};

std::string_view outcomeName(TextInserter::Outcome outcome);

}  // namespace murvelo
