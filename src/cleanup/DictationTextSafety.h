#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cleanup/Regex.h"

namespace murvelo::cleanup {

// Keeps the cleanup engines away from what the speaker meant literally (quotes, code, links,
// addresses, sentences about words) and holds the invariants a cleanup result must keep.
// Pure functions; safe from any thread.

// The protected spans of `text`, sorted and merged (touching spans become one).
std::vector<TextRange> protectedRanges(const icu::UnicodeString& text);
std::vector<TextRange> protectedRanges(std::string_view text);

// The substrings at the protected spans, in order.
std::vector<std::string> protectedLiterals(std::string_view text);
std::vector<std::string> protectedLiterals(const icu::UnicodeString& text);

bool sameLiterals(const std::vector<std::string>& a, const std::vector<std::string>& b);

// A sentence that starts with if/unless/until/when, ends at a full stop without a comma and runs on
// in lower case: unclear where the condition belongs.
bool hasAmbiguousConditionalJoin(std::string_view text);

// How many questions a spoken correction may legitimately swallow ("no wait, how about Friday?").
int absorbedQuestionCount(std::string_view text);
int questionMarkCount(std::string_view text);

bool isLinkLike(std::string_view token);
bool isDomainLike(std::string_view text);

// Nothing, or "empty", "changed-word-sequence", "changed-number-spelling", "changed-question-count".
std::optional<std::string> layoutInvariantViolation(std::string_view output, std::string_view input);

// The result of the Tidy path's safety checks.
struct Reconciliation {
  std::string text;
  std::optional<std::string> failedCheck;  // the identifier of the check that fell back
};

// The text to deliver on the Tidy path: `cleaned` when its literals, conditional joins and
// questions are intact; otherwise the raw transcript, trimmed.
Reconciliation reconcile(std::string_view cleaned, std::string_view raw);

// The finishing-guard checks shared by Tidy and Format, in their order: the identifier of the
// first one that fails, or nothing.
std::optional<std::string> tidyGuardViolation(std::string_view cleaned, std::string_view raw);

}  // namespace murvelo::cleanup
