#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "cleanup/DictationTextSafety.h"
#include "cleanup/layout/LayoutChain.h"

namespace murvelo::cleanup::layout {
namespace {

struct Case {
  const char* input;  // the tidied text
  const char* expected;
  const char* raw = nullptr;  // the transcript; the input when absent
};

bool hasRule(const FormatResult& result, const std::string& rule) {
  return std::any_of(result.edits.begin(), result.edits.end(),
                     [&](const auto& edit) { return edit.rule == rule; });
}

void expectLayout(const Case& c) {
  const FormatResult result = layout(c.input, c.raw ? c.raw : c.input, true);
  EXPECT_FALSE(result.rejection) << c.input << " -> " << result.rejection.value_or("");
  EXPECT_EQ(result.text, c.expected) << c.input;
  // Whatever a layout stage did, only white space, punctuation and letter case may differ (the
  // phrase rules before layout do drop words).
  if (!hasRule(result, "parenthetical-filler") && !hasRule(result, "atomic-determiner-filler-restart") &&
      !hasRule(result, "repeated-open-phrase")) {
    EXPECT_FALSE(layoutInvariantViolation(result.text, c.input)) << c.input;
  }
}

// Each row: what layout makes of one tidied dictation.
TEST(FormatLayout, Cases) {
  const Case cases[] = {
      // Guards: an unfinished ending loses the full stop tidying added.
      {"We should talk about the.", "We should talk about the", "we should talk about the"},
      // Phrase rules: a determiner restart collapses.
      {"I saw the, you know, the plan.", "I saw the plan."},
      {"I saw the, you know, a plan.", "I saw the, you know, a plan."},          // not the same determiner
      {"He said the, you know, the plan.", "He said the, you know, the plan."},  // reported speech
      // Phrase rules: a repeated opening phrase stands once.
      {"For a, for a moment I froze.", "For a moment I froze."},
      {"As a, as an adult I know.", "As a, as an adult I know."},  // not the same phrase
      // PhraseRules: parenthetical filler.
      {"It was, you know, pretty good.", "It was pretty good."},
      {"The food was, I mean, really good.", "The food was really good."},
      // Kept: the text before reports speech.
      {"He said, you know, it was fine.", "He said, you know, it was fine."},
      // Kept: an unfinished phrase before it.
      {"Give it to the, you know, manager.", "Give it to the, you know, manager."},
      // Removed: a clause of its own follows the unfinished phrase.
      {"I went to the, you know, I was tired.", "I went to the I was tired."},
      // Kept: a correction cue before it.
      {"Monday, no, you know, Tuesday.", "Monday, no, you know, Tuesday."},
      // "I mean" after a modal, or before a restatement, corrects.
      {"We could, I mean, should go.", "We could, I mean, should go."},
      {"It's fine, I mean, it's not great.", "It's fine, I mean, it's not great."},
      // Kept: no letter after it.
      {"It is, you know, 42.", "It is, you know, 42."},
      // Kept: inside a quotation.
      {"She wrote \"it was, you know, fine\" today.", "She wrote \"it was, you know, fine\" today."},
      // EmailCommands: command stands apart from message.
      {"Email anna, subject lunch plans. Hi anna, are you free on Friday?",
       "Email Anna\nSubject: Lunch plans.\n\nHi Anna,\n\nAre you free on Friday?"},
      {"Write to Ben. Hi Ben, the invoice is paid.", "Write to Ben.\n\nHi Ben,\n\nThe invoice is paid."},
      // No message after it: nothing to set apart.
      {"Email Anna, subject lunch plans.", "Email Anna, subject lunch plans."},
      // EmailGreeting: greeting goes on its own line.
      {"Hi John, thanks for the update. See you Monday.",
       "Hi John,\n\nThanks for the update. See you Monday."},
      {"Hi, John. Thanks.", "Hi John,\n\nThanks."},
      {"Hi mom, I'll be late tonight.", "Hi mom,\n\nI'll be late tonight."},
      // A title keeps its full stop and is never the name, whatever case it was dictated in.
      {"Dear mr. smith, the parcel arrived.", "Dear Mr. Smith,\n\nThe parcel arrived."},
      // Speech recognisers write names in lower case; the name is capitalised.
      {"Hi john thanks for the update.", "Hi John,\n\nThanks for the update."},
      // EmailGreeting: greeting without name.
      // "Thanks" is never a name: a greeting without one.
      {"Hi thanks for coming.", "Hi,\n\nThanks for coming."},
      // EmailGreeting: greeting only.
      {"Hi John.", "Hi John,"},
      // EmailGreeting: not a greeting.
      {"Morning meeting is at ten.", "Morning meeting is at ten."},
      {"Hi John or Mary will call.", "Hi John or Mary will call."},
      // A family word followed by a weekday is not followed by a name.
      {"Hi Mom Monday works.", "Hi Mom Monday works."},
      // A note to oneself gets no e-mail layout at all.
      {"Quick note, call the bank. Take care.", "Quick note, call the bank. Take care."},
      // EmailGreeting: introductory condition comma.
      {"Hi Sam, if the parcel is not here by Friday please call the shop.",
       "Hi Sam,\n\nIf the parcel is not here by Friday, please call the shop."},
      // Not an imperative after the time: no comma.
      {"Hi Sam, if it rains by Friday we stay home.", "Hi Sam,\n\nIf it rains by Friday we stay home."},
      // Outside a message body: no comma.
      {"If it is not here by Friday call the shop.", "If it is not here by Friday call the shop."},
      // EmailClosing: courtesy closings.
      {"Thanks for the help. Have a great weekend, guys!",
       "Thanks for the help.\n\nHave a great weekend, guys!"},
      // Run into the last sentence with a comma: the sentence is closed and the closing set off.
      {"Let me know if it works, take care.", "Let me know if it works.\n\nTake care."},
      // A closing alone is left as it is.
      {"Take care.", "Take care."},
      // Not at the end: not a closing.
      {"Take care of the dog. It needs food.", "Take care of the dog. It needs food."},
      // EmailClosing: courtesy closing with signature.
      {"Hi Anna, the report is attached. Talk soon. Ben",
       "Hi Anna,\n\nThe report is attached.\n\nTalk soon,\nBen"},
      {"The report is attached. Take care! J.R. Smith", "The report is attached.\n\nTake care!\nJ.R. Smith"},
      {"The report is attached. Cheers, mate. Anna K.", "The report is attached. Cheers, mate. Anna K."},
      // EmailClosing: closing block.
      {"Hi Anna, the draft is ready. Thanks, Ben.", "Hi Anna,\n\nThe draft is ready.\n\nThanks,\nBen"},
      {"The draft is ready, thanks, Ben.", "The draft is ready.\n\nThanks,\nBen"},
      // EmailClosing: lower case signature in a message.
      {"Hi team, the build is green. Thanks, marco.", "Hi team,\n\nThe build is green.\n\nThanks,\nMarco"},
      // Everyday words after a sign-off are no names.
      {"Hi team, the build is green. Thanks, everyone.", "Hi team,\n\nThe build is green. Thanks, everyone."},
      // Without a greeting a lower-case word is not taken for a name.
      {"The build is green. Thanks, marco.", "The build is green. Thanks, marco."},
      // EmailClosing: sign off words are never names.
      {"Hi Bo, see you. Thanks, Monday.", "Hi Bo,\n\nSee you. Thanks, Monday."},
      // EmailClosing: final name signature.
      {"Hi team, the build is green. Marco.", "Hi team,\n\nThe build is green.\nMarco"},
      // Not a message: a lone name stays in the sentence flow.
      {"I met him at noon. Marco.", "I met him at noon. Marco."},
      {"Hi team, we meet on. Friday.", "Hi team,\n\nWe meet on. Friday."},
      // Email: whole messages, from the transcript.
      {"Hi Anna, thanks. Separately, the car is fixed. Talk soon. Ben",
       "Hi Anna,\n\nThanks.\n\nSeparately, the car is fixed.\n\nTalk soon,\nBen",
       "hi anna thanks separately the car is fixed talk soon ben"},
      // Email: paragraph separators normalised.
      {"First part.  \n \n\n  Second part.", "First part.\n\nSecond part."},
      {"One line.\nNext line.", "One line.\nNext line."},
      // Destination: contrast gains comma.
      {"Please send the invoice to Anna not Ben.", "Please send the invoice to Anna, not Ben."},
      {"Take it to the store not knowing why.", "Take it to the store not knowing why."},
      {"I went to Anna not Ben.", "I went to Anna not Ben."},
      // Lists: spoken number markers.
      {"I need three things. Number one, buy milk. Number two, call mom. Number three, pay rent.",
       "I need three things.\nNumber one, buy milk.\nNumber two, call mom.\nNumber three, pay rent."},
      {"Number one, milk, and number two, eggs.", "Number one, milk,\nand number two, eggs."},
      {"1st, check the oil. 2nd, check the tyres. 3rd, fill up.",
       "1st, check the oil.\n2nd, check the tyres.\n3rd, fill up."},
      // One marker, or markers that do not count up from one, are no list.
      {"Number two, call Sam.", "Number two, call Sam."},
      // A marker asked as a question is no marker.
      {"Is it number one? Is it number two? I forget.", "Is it number one? Is it number two? I forget."},
      // Lists: after the last item.
      {"Number one, milk. Number two, eggs. I will go tomorrow.",
       "Number one, milk.\nNumber two, eggs.\n\nI will go tomorrow."},
      {"Number one, milk. Number two, eggs. These are for Sunday.",
       "Number one, milk.\nNumber two, eggs.\n\nThese are for Sunday."},
      // A sentence that carries the item on stays with it.
      {"Number one, milk. Number two, eggs. Then go home.",
       "Number one, milk.\nNumber two, eggs. Then go home."},
      // Lists: spoken colon and semicolon.
      {"Three things colon buy milk. Call mom. Pay rent.",
       "Three things colon\nbuy milk.\nCall mom.\nPay rent."},
      {"Pack the bags semicolon book the taxi semicolon lock the door.",
       "Pack the bags semicolon\nbook the taxi semicolon\nlock the door."},
      // The word itself, not a separator.
      {"The word semicolon is tricky semicolon right.", "The word semicolon is tricky semicolon right."},
      // Not at the start, or no count: no spoken-colon announcement.
      {"I said three things colon fine.", "I said three things colon fine."},
      // Lists: counted and lettered.
      {"There are three steps: A, open the box, B, plug it in, and C, press start.",
       "There are three steps:\nA, open the box,\nB, plug it in,\nand C, press start."},
      {"Six items. A, one. B, two. C, three. D, four. E, five. F, six. G, seven.",
       "Six items.\nA, one.\nB, two.\nC, three.\nD, four.\nE, five.\nF, six.\n\nG, seven."},
      {"I have two questions. What time is the call? Who is joining? Let me know.",
       "I have two questions.\nWhat time is the call?\nWho is joining?\n\nLet me know."},
      // A comma series stays on one line.
      {"I need three things: milk, eggs, and bread.", "I need three things: milk, eggs, and bread."},
      // Fewer sentences than announced: not a list.
      {"Three things went wrong. The car broke.", "Three things went wrong. The car broke."},
      // Someone else's list, or one cited from an authority, is not laid out.
      {"The manual lists three steps. Open it. Plug it in. Press start.",
       "The manual lists three steps. Open it. Plug it in. Press start."},
      // A title's full stop does not end an item.
      {"Two tasks. Call Dr. Hill today. Email Mr. Ray.", "Two tasks.\nCall Dr. Hill today.\nEmail Mr. Ray."},
      // Lists: announced list with lead words.
      {"Make a three item checklist. First, pack. Second, lock up. Finally, leave.",
       "Make a three item checklist.\nFirst, pack.\nSecond, lock up.\nFinally, leave."},
      {"First, call the bank. Second, email Sam. And lastly, book flights. These are urgent.",
       "First, call the bank.\nSecond, email Sam.\nAnd lastly, book flights.\n\nThese are urgent."},
      // Lead words without an announcement or a first/second enumeration stay in the prose.
      {"Next, we ship. Finally, we rest.", "Next, we ship. Finally, we rest."},
      // Lists: ordinal topics.
      {"The first thing is the budget. The second thing is hiring. Let me know what you think.",
       "The first thing is the budget.\nThe second thing is hiring.\n\nLet me know what you think."},
      {"The first one was late. We waited. And then the second one will be early.",
       "The first one was late. We waited.\nAnd then the second one will be early."},
      {"The first thing is the budget.", "The first thing is the budget."},
      // ClosingMarks: final aside stays whole.
      {"I wrote it down (so, number one, milk. Number two, eggs.)",
       "I wrote it down (so, number one, milk. Number two, eggs.)"},
      {"Number one, milk. Number two, eggs (fresh).", "Number one, milk.\nNumber two, eggs (fresh)."},
      // Lists: dictated marks separate like the words; a written mark the speaker did not dictate, or
      // the word named as a word, separates nothing.
      {"Pack the bags; book the taxi; lock the door.", "Pack the bags;\nbook the taxi;\nlock the door.",
       "pack the bags semicolon book the taxi semicolon lock the door"},
      {"Three things: milk and eggs.", "Three things:\nmilk and eggs.", "three things colon milk and eggs"},
      {"Pack the bags; book the taxi.", "Pack the bags; book the taxi.", "pack the bags; book the taxi"},
      {"Note the word; here; and the term; there.", "Note the word; here; and the term; there.",
       "note the word semicolon here semicolon and the term semicolon there"},
      // Topics: an explicit topic break.
      {"The budget is done. Separately, we need a printer.",
       "The budget is done.\n\nSeparately, we need a printer."},
      {"We can do that separately, I think.", "We can do that separately, I think."},
      {"Separately, we left.", "Separately, we left."},
      // Inside a quotation: untouched.
      {"He wrote \"Done. Separately, more.\" today.", "He wrote \"Done. Separately, more.\" today."},
  };
  for (const auto& c : cases) expectLayout(c);
}

TEST(FormatLayoutGuards, TrippedGuardReturnsRawWithoutEdits) {
  struct GuardCase {
    const char* tidied;
    const char* raw;
    const char* rejection;
  };
  const GuardCase cases[] = {
      {"Is it done.", "is it done?", "tidy-dropped-question-mark"},
      {"Call me. If you can. Then go.", "call me. if you can. then go", "ambiguous-tidy-conditional-join"},
      {"", "", "layout-empty"},
  };
  for (const auto& c : cases) {
    const FormatResult result = layout(c.tidied, c.raw, true);
    EXPECT_EQ(result.rejection, std::optional<std::string>(c.rejection)) << c.raw;
    EXPECT_EQ(result.text, c.raw);
    EXPECT_TRUE(result.edits.empty());
  }
}

std::string words(int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += "word ";
  return out;
}

TEST(FormatLayoutTopics, FinalTopicBreakNeedsLengthAndParagraph) {
  const std::string longText =
      "We met. " + words(30) + "end. Separately, " + words(30) + "end. Finally, we left.";
  const std::string expectedLong =
      "We met. " + words(30) + "end.\n\nSeparately, " + words(30) + "end.\n\nFinally, we left.";
  const std::string shortText = "We met. Separately, we ate. Finally, we left.";
  const std::string noParagraph = "We met. " + words(70) + "end. Finally, we left.";
  for (const Case& c : {Case{longText.c_str(), expectedLong.c_str()},
                        Case{shortText.c_str(), "We met.\n\nSeparately, we ate. Finally, we left."},
                        Case{noParagraph.c_str(), noParagraph.c_str()}})
    expectLayout(c);
}

}  // namespace
}  // namespace murvelo::cleanup::layout
