#pragma once

#include <unicode/unistr.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cleanup/Regex.h"
#include "cleanup/TidyText.h"

namespace murvelo::cleanup {

// Which context tests a correction rule consults beyond those every rule consults.
enum CorrectionGuard : unsigned {
  kGuardEndOfThought = 1u << 0,  // what follows the replacement must close the thought
  kGuardPlan = 1u << 1,          // the clause is a plan ("let's", "we'll", an action verb)
  kGuardName = 1u << 2,          // ... or names someone ("my name is")
  kGuardSchedule = 1u << 3,      // the wider negation and range tests of schedule values
};

// One explicit-correction rule: its identifier, its patterns (tried in order, most rules have one),
// a cheap prefilter, where its earlier and later values lie, and how the match is rewritten.
struct CorrectionRule {
  std::string id;
  std::vector<std::string> patterns;
  Prefilter prefilter;
  int oldFirst, oldLast;  // groups spanning the superseded value
  int newFirst, newLast;  // groups spanning the value that replaces it
  unsigned guards = 0;
  int nounTail = 0;  // words of the noun phrase that may follow before the end-of-thought test
  // Builds the corrected wording from the match.
  std::function<icu::UnicodeString(const icu::UnicodeString& text, const Match&)> rewrite;
};

// The seventeen rules in the order one pass applies them.
const std::vector<CorrectionRule>& correctionRules();

// Every fixed pattern of the correction stage (rules, cues and guards), for a test that they compile.
std::vector<std::string> correctionPatterns();

// Stage-level patterns.
extern const std::string kCueCountPattern;
extern const std::string kCueWordPattern;
extern const std::vector<std::string> kVerbatimPatterns;

// The context tests: true when the candidate must be left alone.
struct CorrectionCandidate {
  const icu::UnicodeString& text;
  const Match& match;
  const CorrectionRule& rule;
};
bool guardBlocks(const CorrectionCandidate& candidate);
std::vector<std::string> guardPatterns();

}  // namespace murvelo::cleanup
