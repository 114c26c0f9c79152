#include "cleanup/layout/FinishingGuards.h"

#include "base/TextTrim.h"
#include "cleanup/DictationTextSafety.h"
#include "cleanup/Regex.h"

namespace murvelo::cleanup::layout {
namespace {

const std::string kUnfinishedEnding =
    R"((?i)\b(?:whether|because|to|about|if|when|with|for|and|or|but|the|a|an|my|your|our|their|I mean|no wait|scratch that|correction)\s*$)";

}  // namespace

std::optional<std::string> finishingGuardViolation(std::string_view tidied, std::string_view raw) {
  return tidyGuardViolation(tidied, raw);
}

std::string restoreEnding(std::string_view tidied, std::string_view raw, std::vector<FormatEdit>& edits) {
  const std::string trimmed = trimWhitespaceAndNewlines(raw);
  if (!containsMatch(kUnfinishedEnding, fromUtf8(trimmed)) || trimmed.ends_with('.') ||
      !tidied.ends_with('.')) {
    return std::string(tidied);
  }
  std::string restored(tidied.substr(0, tidied.size() - 1));
  edits.push_back({"restore-unfinished-ending", std::string(tidied), restored});
  return restored;
}

}  // namespace murvelo::cleanup::layout
