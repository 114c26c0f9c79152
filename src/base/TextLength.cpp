#include "base/TextLength.h"

#include <unicode/brkiter.h>
#include <unicode/unistr.h>

#include <memory>

namespace murvelo {

std::int64_t characterCount(std::string_view text) {
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), text.size()));
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::BreakIterator> it(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (U_FAILURE(status)) return unicode.countChar32();
  it->setText(unicode);
  std::int64_t count = 0;
  for (int32_t end = it->next(); end != icu::BreakIterator::DONE; end = it->next()) ++count;
  return count;
}

}  // namespace murvelo
