#include "cleanup/layout/ClosingMarks.h"

namespace murvelo::cleanup::layout {
namespace {

const std::string kClosingMarks = R"([.!?]["'’”)\]]+$)";

// The opening mark that pairs with a closing one; straight quotes pair with themselves.
char16_t openerOf(char16_t closer) {
  switch (closer) {
    case u')': return u'(';
    case u']': return u'[';
    case u'”': return u'“';
    case u'’': return u'‘';
    default: return closer;
  }
}

}  // namespace

void keepClosingPartWhole(LayoutText& text) {
  if (text.skipClosingMarks) return;
  const icu::UnicodeString& current = text.text();
  auto matches = findAll(kClosingMarks, current);
  if (!matches || matches->empty()) return;
  const TextRange marks = matches->back().range();
  // The outermost closer is the last character; find its opener before the sentence mark.
  const char16_t opener = openerOf(current.charAt(marks.end() - 1));
  const std::int32_t openAt = current.lastIndexOf(opener, 0, marks.location);
  if (openAt < 0) return;
  const int first = text.firstTokenFrom(openAt + 1);
  std::vector<int> inside;
  for (const auto& [index, kind] : text.breaks()) {
    if (index >= first) inside.push_back(index);
  }
  for (int index : inside) text.removeBreak(index);
}

}  // namespace murvelo::cleanup::layout
