#include "cleanup/DeterministicFormat.h"

#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"
#include "cleanup/layout/LayoutChain.h"

namespace murvelo::cleanup {

FormatResult DeterministicFormat::format(std::string_view raw, bool optionA, bool optionB) const {
  std::vector<FormatEdit> edits;
  // The Format level always starts a sentence: its text is laid out as a whole.
  std::string text = tidyCore(raw, true, optionA, optionB, edits);
  text = tidy(text, true, edits);
  text = applyExplicitCorrections(text, true, edits);
  text = restoreUnfinishedEnding(text, raw, edits);
  // Reconciliation makes the checks of the first finishing guards; when one fails, the result is
  // that guard's refusal: the raw text, no edits.
  Reconciliation reconciled = reconcile(text, raw);
  if (reconciled.failedCheck) return {std::string(raw), {}, std::move(reconciled.failedCheck)};

  FormatResult result = cleanup::layout::layoutAfterGuards(reconciled.text, raw, optionA && optionB);
  // Refusals by a gate or a literal invariant carry no edits; every other result carries Tidy's
  // edits before its own.
  if (result.rejection && !result.rejection->starts_with("layout-")) return result;
  edits.insert(edits.end(), std::make_move_iterator(result.edits.begin()),
               std::make_move_iterator(result.edits.end()));
  result.edits = std::move(edits);
  return result;
}

}  // namespace murvelo::cleanup
