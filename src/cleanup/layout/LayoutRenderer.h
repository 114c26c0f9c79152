#pragma once

#include <unicode/unistr.h>

#include <set>
#include <string>
#include <vector>

namespace murvelo::cleanup::layout {

// What the renderer made of the recorded breaks: the text, or the identifier of the check that
// refused ("invalid-break-index", "renderer-invariant-failed").
struct Rendered {
  icu::UnicodeString text;
  std::string failure;  // empty on success
};

// Turns recorded breaks into newlines. A break at index i sits in the gap between token i-1 and
// token i (tokens as the layout tokenises). Every index in `breaks` must appear in exactly one of
// the two kind sets. A gap that already holds enough newlines is kept; otherwise it becomes
// exactly one ("\n") or two ("\n\n") newlines. Only white space may change: that is checked, not
// assumed, so a token pattern whose gaps hold more than white space is refused.
Rendered renderBreaks(const icu::UnicodeString& text, const std::vector<int>& breaks,
                      const std::set<int>& lineBreaks, const std::set<int>& paragraphBreaks);
Rendered renderBreaks(const icu::UnicodeString& text, const std::vector<int>& breaks,
                      const std::set<int>& lineBreaks, const std::set<int>& paragraphBreaks,
                      const std::string& tokenPattern);

}  // namespace murvelo::cleanup::layout
