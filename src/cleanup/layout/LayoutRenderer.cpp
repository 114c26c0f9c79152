#include "cleanup/layout/LayoutRenderer.h"

#include <unicode/uchar.h>

#include "cleanup/Regex.h"
#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {
namespace {

icu::UnicodeString withoutWhiteSpace(const icu::UnicodeString& text) {
  icu::UnicodeString out;
  for (std::int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
    const UChar32 c = text.char32At(i);
    if (!u_isUWhiteSpace(c)) out.append(c);
  }
  return out;
}

int newlineCount(const icu::UnicodeString& gap) {
  int count = 0;
  for (std::int32_t i = 0; i < gap.length(); ++i) {
    if (gap.charAt(i) == u'\n') ++count;
  }
  return count;
}

}  // namespace

Rendered renderBreaks(const icu::UnicodeString& text, const std::vector<int>& breaks,
                      const std::set<int>& lineBreaks, const std::set<int>& paragraphBreaks) {
  return renderBreaks(text, breaks, lineBreaks, paragraphBreaks, kLayoutTokenPattern);
}

Rendered renderBreaks(const icu::UnicodeString& text, const std::vector<int>& breaks,
                      const std::set<int>& lineBreaks, const std::set<int>& paragraphBreaks,
                      const std::string& tokenPattern) {
  std::vector<TextRange> tokens;
  if (auto matches = findAll(tokenPattern, text)) {
    for (const auto& match : *matches) tokens.push_back(match.range());
  } else {
    return {text, "renderer-invariant-failed"};
  }
  const int tokenCount = static_cast<int>(tokens.size());
  if (breaks.size() != lineBreaks.size() + paragraphBreaks.size()) return {text, "invalid-break-index"};
  for (int index : breaks) {
    if (index < 1 || index >= tokenCount) return {text, "invalid-break-index"};
    if (lineBreaks.contains(index) == paragraphBreaks.contains(index)) return {text, "invalid-break-index"};
  }
  if (tokens.empty()) return {text, {}};

  icu::UnicodeString out(text, 0, tokens.front().location);
  for (int i = 0; i < tokenCount; ++i) {
    out.append(text, tokens[i].location, tokens[i].length);
    const std::int32_t gapEnd = i + 1 < tokenCount ? tokens[i + 1].location : text.length();
    const icu::UnicodeString gap(text, tokens[i].end(), gapEnd - tokens[i].end());
    const int needed = paragraphBreaks.contains(i + 1) ? 2 : lineBreaks.contains(i + 1) ? 1 : 0;
    if (needed == 0 || newlineCount(gap) >= needed) {
      out.append(gap);
    } else {
      out.append(needed == 2 ? u"\n\n" : u"\n");
    }
  }
  if (withoutWhiteSpace(out) != withoutWhiteSpace(text)) return {text, "renderer-invariant-failed"};
  return {out, {}};
}

}  // namespace murvelo::cleanup::layout
