#include "cleanup/layout/LayoutChain.h"

#include <functional>
#include <set>

#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"
#include "cleanup/layout/ClosingMarks.h"
#include "cleanup/layout/CountedListLayout.h"
#include "cleanup/layout/DestinationContrast.h"
#include "cleanup/layout/EmailCommandLayout.h"
#include "cleanup/layout/EmailLayout.h"
#include "cleanup/layout/LayoutRenderer.h"
#include "cleanup/layout/OrdinalTopicLayout.h"
#include "cleanup/layout/PhraseRules.h"
#include "cleanup/layout/SpokenListLayout.h"
#include "cleanup/layout/TopicLayout.h"

namespace murvelo::cleanup::layout {
namespace {

struct Stage {
  const char* name;
  std::function<void(LayoutText&)> run;
};

// The layout stages, in their fixed order.
const Stage kStages[] = {
    {"email-commands", layoutEmailCommand},
    {"spoken-colon-and-semicolon-lists", layoutSpokenColonAndSemicolonLists},
    {"spoken-number-lists", layoutSpokenNumberList},
    {"counted-and-lettered-lists", layoutCountedList},
    {"destination-contrast", layoutDestinationContrast},
    {"email-layout", layoutEmail},
    {"topic-breaks-and-announced-lists", layoutTopics},
    {"ordinal-topic-lists", layoutOrdinalTopics},
    {"sentence-final-closing-marks", keepClosingPartWhole},
};

FormatResult rejected(std::string_view text, std::string reason) {
  return {std::string(text), {}, std::move(reason)};
}

}  // namespace

FormatResult layout(std::string_view tidied, std::string_view raw, bool layoutEnabled) {
  // The finishing guards, in their order: literals, conditional joins, lost questions; then the
  // unfinished-ending restore, which edits and never refuses.
  if (auto failed = tidyGuardViolation(tidied, raw)) return rejected(raw, *failed);
  return layoutAfterGuards(tidied, raw, layoutEnabled);
}

FormatResult layoutAfterGuards(std::string_view tidied, std::string_view raw, bool layoutEnabled) {
  std::vector<FormatEdit> edits;
  icu::UnicodeString text = fromUtf8(restoreUnfinishedEnding(tidied, raw, edits));
  applyPhraseRules(text, edits);
  const auto rawLiterals = protectedLiterals(raw);

  if (!layoutEnabled) {
    if (!rawLiterals.empty() && !sameLiterals(rawLiterals, protectedLiterals(text))) {
      return rejected(raw, "partial-protected-literal-invariant");
    }
    return {toUtf8(text), std::move(edits), std::nullopt};
  }

  const std::string entering = toUtf8(text);
  LayoutText laid(text, edits);
  const icu::UnicodeString rawText = fromUtf8(raw);
  laid.dictatedColon = containsMatch(R"((?i)\bcolon\b)", rawText);
  laid.dictatedSemicolon = containsMatch(R"((?i)\bsemicolon\b)", rawText);
  for (const auto& stage : kStages) stage.run(laid);

  std::vector<int> breaks;
  std::set<int> lineBreaks;
  std::set<int> paragraphBreaks;
  for (const auto& [index, kind] : laid.breaks()) {
    breaks.push_back(index);
    (kind == BreakKind::line ? lineBreaks : paragraphBreaks).insert(index);
  }
  const Rendered rendered = renderBreaks(laid.text(), breaks, lineBreaks, paragraphBreaks);
  if (!rendered.failure.empty()) return {entering, std::move(edits), "layout-" + rendered.failure};
  const std::string output = toUtf8(rendered.text);

  if (!rawLiterals.empty() && !sameLiterals(rawLiterals, protectedLiterals(output))) {
    return rejected(raw, "final-protected-literal-invariant");
  }
  if (auto violation = layoutInvariantViolation(output, entering)) {
    return {entering, std::move(edits), "layout-" + *violation};
  }
  return {output, std::move(edits), std::nullopt};
}

}  // namespace murvelo::cleanup::layout
