#include "delivery/TextInserter.h"

namespace murvelo {

std::string_view outcomeName(TextInserter::Outcome outcome) {
  switch (outcome) {
    case TextInserter::Outcome::pastedAtCursor: return "pastedAtCursor";
    case TextInserter::Outcome::copiedToClipboard: return "copiedToClipboard";
  }
  return "pastedAtCursor";
}

}  // namespace murvelo
