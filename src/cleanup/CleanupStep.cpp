#include "cleanup/CleanupStep.h"

#include <exception>

#include "cleanup/CorrectionsDictionary.h"
#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"

namespace murvelo {
namespace {

CleanedTranscript tidyLevel(std::string_view raw, bool sentenceStart) {
  CleanedTranscript result;
  std::string text = cleanup::tidyCore(raw, sentenceStart, true, true, result.edits);
  text = cleanup::tidy(text, sentenceStart, result.edits);
  text = cleanup::applyExplicitCorrections(text, sentenceStart, result.edits);
  // The speaker stopped mid-thought: the text must not pretend the sentence ended.
  text = cleanup::restoreUnfinishedEnding(text, raw, result.edits);
  auto reconciled = cleanup::reconcile(text, raw);
  result.text = std::move(reconciled.text);
  result.fallback = std::move(reconciled.failedCheck);
  return result;
}

CleanedTranscript formatLevel(const cleanup::FormatEngine* engine, std::string_view raw) {
  CleanedTranscript result;
  result.text = std::string(raw);
  if (engine == nullptr) {
    result.fallback = "format-unchanged";
    return result;
  }
  try {
    cleanup::FormatResult formatted = engine->format(raw, true, true);
    result.edits = std::move(formatted.edits);
    result.fallback = std::move(formatted.rejection);
    if (formatted.text == raw && !result.fallback) result.fallback = "format-unchanged";
    result.text = std::move(formatted.text);
  } catch (const std::exception&) {
    // An engine that fails never fails the run: the text from before it goes on.
    result.edits.clear();
    result.text = std::string(raw);
    result.fallback = "format-safe-fallback";
  }
  return result;
}

}  // namespace

CleanedTranscript CleanupStep::cleanLevel(std::string_view raw, CleanupLevel level,
                                          bool sentenceStart) const {
  switch (level) {
    case CleanupLevel::none: return {std::string(raw), {}, std::nullopt};
    case CleanupLevel::light: return tidyLevel(raw, sentenceStart);
    case CleanupLevel::format:
    case CleanupLevel::medium: return formatLevel(format_, raw);
  }
  return {std::string(raw), {}, std::nullopt};
}

CleanedTranscript CleanupStep::clean(std::string_view raw, CleanupLevel level, bool sentenceStart,
                                     bool developerVocabulary) const {
  CleanedTranscript result = cleanLevel(raw, level, sentenceStart);
  // A word added from the My Words view or murvelo-cli counts from the next dictation on.
  corrections_.refresh();
  // The shared pack is always on; the developer pack follows the setting.
  const auto corrections = corrections_.compiled(true, developerVocabulary);
  if (!corrections.empty()) {
    result.text = CorrectionsDictionary::apply(result.text, corrections, &result.edits);
  }
  return result;
}

}  // namespace murvelo
