#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "cleanup/CorrectionRules.h"
#include "cleanup/DictationTextSafety.h"
#include "cleanup/Regex.h"
#include "cleanup/TidyEngine.h"
#include "cleanup/TidyPatterns.h"

namespace murvelo::cleanup {
namespace {

bool hasEdit(const std::vector<FormatEdit>& edits, const std::string& rule) {
  return std::any_of(edits.begin(), edits.end(), [&](const FormatEdit& edit) { return edit.rule == rule; });
}

TEST(TidyPatterns, EveryFixedPatternCompiles) {
  // A pattern that does not compile skips its rule without a word: that must never be a surprise.
  std::vector<std::string> all = corePatterns();
  for (const auto& list : {fillerPatterns(), correctionPatterns(), guardPatterns()}) {
    all.insert(all.end(), list.begin(), list.end());
  }
  for (const auto& pattern : all) EXPECT_NE(compiledPattern(pattern), nullptr) << pattern;
}

struct CorrectionCase {
  const char* rule;
  const char* input;
  const char* output;
};

TEST(TidyCorrections, EachRuleResolvesItsCorrection) {
  const CorrectionCase cases[] = {
      {"explicit-repeated-lead-correction", "We meet at 3 PM. No wait, we meet at 4 PM.", "We meet at 4 PM."},
      {"explicit-schedule-correction", "Let's meet Monday at 3, no wait, Tuesday at 4.",
       "Let's meet Tuesday at 4."},
      {"explicit-money-unit-correction", "It costs 50 dollars, sorry, 60 dollars.", "It costs 60 dollars."},
      {"explicit-spoken-money-correction", "That is fifty dollars, no, sixty dollars.",
       "That is sixty dollars."},
      {"explicit-spoken-quantity-correction", "Buy three boxes, no, four boxes.", "Buy four boxes."},
      {"explicit-unit-swap-correction", "Add two cups of flour, sorry, two spoons.",
       "Add two spoons of flour."},
      {"explicit-deferred-count-correction", "Bring 3 chairs for the guests, make it 5.",
       "Bring 5 chairs for the guests."},
      {"explicit-labeled-slot-correction", "Put it in locker 12B, no, 14C.", "Put it in locker 14C."},
      {"explicit-short-noun-correction", "Grab the red folder, no wait, the blue folder.",
       "Grab the blue folder."},
      {"explicit-short-preposition-correction", "It's under the desk, no, behind the desk.",
       "It's behind the desk."},
      {"explicit-short-preposition-proper-correction", "We fly to Boston, no wait, to Denver tomorrow.",
       "We fly to Denver tomorrow."},
      {"explicit-count-unit-correction", "I have 3 items, sorry, 4.", "I have 4 items."},
      {"explicit-elided-unit-correction", "Wait 20 minutes, wait, 30.", "Wait 30 minutes."},
      {"explicit-trailing-unit-correction", "Go to room 12, no wait, 14.", "Go to room 14."},
      {"explicit-labeled-number-correction", "Install version 2.1, no wait, version 2.2.",
       "Install version 2.2."},
      {"explicit-typed-correction", "Let's do Thursday, actually how about Friday is better.",
       "Let's do Friday."},
      {"explicit-name-correction", "Email Sarah, no wait, Sara Jones.", "Email Sara Jones."},
  };
  for (const auto& c : cases) {
    std::vector<FormatEdit> edits;
    EXPECT_EQ(applyExplicitCorrections(c.input, true, edits), c.output) << c.input;
    EXPECT_TRUE(hasEdit(edits, c.rule)) << c.input << " was not resolved by " << c.rule;
  }
}

TEST(TidyCorrections, GuardsLeaveTheTextAlone) {
  const char* blocked[] = {
      "He said Monday at 3, no wait, Tuesday at 4.",                     // reported speech
      "The word is Monday at 3, no wait, Tuesday at 4.",                 // words about words
      "Maybe Monday at 3, no wait, Tuesday at 4.",                       // deliberation
      "The score was 3 out of 5, no, 4.",                                // a fraction
      "Not Monday at 3, no wait, Tuesday at 4.",                         // a negated first value
      "I'm busy Monday at 3, no wait, Tuesday at 4.",                    // schedule negation
      "From 9 to 5 dollars, sorry, 6 dollars.",                          // a range
      "Can we meet Monday at 3, no wait, Tuesday at 4.",                 // a question
      "Hi Sam, actually Sara.",                                          // a greeting
      "He met John, no wait, Mary at the bar.",                          // not a plan or a name
      "Type this exactly: three boxes, no, four boxes.",                 // a verbatim request
      "Grab the red folder, no wait, the blue folder keeps the notes.",  // the thought runs on
  };
  for (const char* input : blocked) {
    std::vector<FormatEdit> edits;
    EXPECT_EQ(applyExplicitCorrections(input, true, edits), input) << input;
    EXPECT_TRUE(edits.empty()) << input;
  }
}

TEST(TidyCorrections, InstructionsAreNotReportedSpeech) {
  // The text before a correction, and whether it reports speech.
  const std::pair<const char*, bool> cases[] = {
      {"He said ", true},
      {"Use the phrase ", true},
      {"Tell him we meet ", false},                   // an instruction: the waiver
      {"He said it. Then tell him we meet ", false},  // the report was an earlier sentence
      {"Tell him to say the exact phrase ", true},    // asks for an exact phrase
  };
  for (const auto& [before, reported] : cases) EXPECT_EQ(reportedSpeechBefore(before), reported) << before;
}

TEST(TidyCorrections, LimitsAndCase) {
  std::vector<FormatEdit> edits;
  // Over 8000 characters: the stage does nothing, however clear the correction.
  std::string longText(7980, 'a');
  longText += " Buy three boxes, no, four boxes.";
  ASSERT_GT(longText.size(), 8000u);
  EXPECT_EQ(applyExplicitCorrections(longText, true, edits), longText);
  // 81 cues make a ramble; 80 do not.
  std::string ramble = "Buy three boxes, no, four boxes";
  for (int i = 0; i < 79; ++i) ramble += " then sorry";
  EXPECT_NE(applyExplicitCorrections(ramble, true, edits), ramble);
  edits.clear();
  ramble += " then sorry";
  EXPECT_EQ(applyExplicitCorrections(ramble, true, edits), ramble);
  EXPECT_TRUE(edits.empty());
  // The first letter is restored only at a sentence start.
  EXPECT_EQ(applyExplicitCorrections("Three boxes, no, four boxes.", true, edits), "Four boxes.");
  EXPECT_EQ(applyExplicitCorrections("Three boxes, no, four boxes.", false, edits), "four boxes.");
  // Nothing that looks like a cue: untouched.
  EXPECT_EQ(applyExplicitCorrections("Buy three boxes and four bags.", true, edits),
            "Buy three boxes and four bags.");
}

struct TextCase {
  const char* input;
  const char* output;
};

TEST(TidyFillers, CommaMarkedAndBareFillers) {
  const TextCase cases[] = {
      {"The, you know, the plan.", "The plan."},
      {"I went there, like, we had fun.", "I went there, we had fun."},
      // In a comma series the filler's comma separates the items.
      {"We need eggs, like, flour, and sugar.", "We need eggs, flour, and sugar."},
      {"It was, you know.", "It was."},
      {"But like, you know, it was fine.", "But it was fine."},
      {"It was like really cold.", "It was really cold."},
      {"It looks like rain.", "It looks like rain."},  // a real "like"
      {"I like it, you know what I mean?", "I like it, you know what I mean?"},
      {"What is it like?", "What is it like?"},                              // "like" closing a clause stays
      {"Say \"like, you know,\" twice.", "Say \"like, you know,\" twice."},  // quoted
  };
  for (const auto& c : cases) {
    std::vector<FormatEdit> edits;
    EXPECT_EQ(tidy(c.input, true, edits), c.output) << c.input;
    EXPECT_EQ(hasEdit(edits, "spokenFiller"), std::string(c.input) != c.output) << c.input;
  }
}

TEST(TidyCore, WordsMarksAndCapitals) {
  const TextCase cases[] = {
      {"um so i think we should go", "So I think we should go."},
      {"i'm here and i’ll stay", "I'm here and I’ll stay."},
      {"the word is um okay", "The word is um okay."},  // word-talk keeps the hesitation
      {"hello comma how are you question mark i am fine period", "Hello, how are you? I am fine."},
      {"we need a comma here", "We need a comma here."},
      {"the trial period ends soon", "The trial period ends soon."},
      {"see you there new line bye", "See you there\nBye."},
      {"in fact we are done", "In fact, we are done."},
      {"we met at 3 p.m. and then left", "We met at 3 p.m. and then left."},
      {"ask dr. smith etc. and go", "Ask dr. smith etc. and go."},
      {"Hello , world !", "Hello, world!"},
      {"It went well.. really", "It went well. Really."},
      {"visit example.com", "Visit example.com"},           // no mark glued to a link
      {"run `git  status` now", "Run `git  status` now."},  // spacing inside code stays
      {"so the thing is and", "So the thing is and"},       // trailing off: no full stop
  };
  for (const auto& c : cases) {
    std::vector<FormatEdit> edits;
    EXPECT_EQ(tidyCore(c.input, true, true, true, edits), c.output) << c.input;
  }
  std::vector<FormatEdit> edits;
  EXPECT_EQ(tidyCore("and then we left", false, true, true, edits), "and then we left.");  // mid-sentence
}

TEST(TidyUnfinishedEnding, DropsOnlyTheAddedStop) {
  struct Case {
    const char* cleaned;
    const char* input;
    const char* output;
  };
  const Case cases[] = {
      {"We went and.", "we went and", "We went and"},
      {"Ask whether.", "ask whether  \n", "Ask whether"},
      {"No wait.", "no wait", "No wait"},
      {"We went and.", "we went and.", "We went and."},
      {"We went home.", "we went home", "We went home."},
  };
  for (const auto& c : cases) {
    std::vector<FormatEdit> edits;
    EXPECT_EQ(restoreUnfinishedEnding(c.cleaned, c.input, edits), c.output) << c.input;
    EXPECT_EQ(hasEdit(edits, "restore-unfinished-ending"), std::string(c.cleaned) != c.output);
  }
}

}  // namespace
}  // namespace murvelo::cleanup
