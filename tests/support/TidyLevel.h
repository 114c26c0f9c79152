#pragma once

#include <string>
#include <vector>

#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"

namespace murvelo::test {

// The Tidy level as the controller runs it, without the user's corrections: the stages, then the
// reconciliation.
inline std::string tidyLevel(const std::string& raw, bool sentenceStart = true) {
  std::vector<FormatEdit> edits;
  std::string text = cleanup::tidyCore(raw, sentenceStart, true, true, edits);
  text = cleanup::tidy(text, sentenceStart, edits);
  text = cleanup::applyExplicitCorrections(text, sentenceStart, edits);
  text = cleanup::restoreUnfinishedEnding(text, raw, edits);
  return cleanup::reconcile(text, raw).text;
}

}  // namespace murvelo::test
