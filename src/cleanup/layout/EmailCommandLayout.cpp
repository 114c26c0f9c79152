#include "cleanup/layout/EmailCommandLayout.h"

#include "cleanup/layout/EmailPatterns.h"

namespace murvelo::cleanup::layout {
namespace {

using namespace email;

// The recipient of a command; a recogniser's lower-case name ("email anna") is capitalised.
const std::string kRecipient = "(?:" + kName + "|" + kLowerCaseSignature + ")";

// What must follow a command: a greeting, its addressee and punctuation.
const std::string kMessageAhead = "(?=" + kGreeting + "(?:[ \\t]*,)?[ \\t]+" + kAddressee + "[ \\t]*[,.!])";

// Rendering of a subject command: the recipient stays on the first line, the subject goes on a
// line of its own as "Subject: ..." (capitalised, with a colon; no word changes), and the message
// starts a new paragraph:
//   Email Anna
//   Subject: Lunch plans.
//
//   Hi Anna, ...
const std::string kSubjectCommand =
    "^((?i:email))[ \\t]+(" + kRecipient +
    ")([ \\t]*,)?[ \\t]+((?i:subject))([ \\t]*:)?[ \\t]+([^.!?\\n]{1,80})\\.[ \\t]+" + kMessageAhead;
// A recipient command keeps its line ("Write to Anna.") and the message starts a new paragraph.
const std::string kRecipientCommand =
    "^(?i:write an email to|write to|email)[ \\t]+(" + kRecipient + ")\\.[ \\t]+" + kMessageAhead;

bool layoutSubject(LayoutText& text) {
  auto matches = findAll(kSubjectCommand, text.text());
  if (!matches || matches->empty()) return false;
  const Match match = matches->front();
  if (intersectsAny(match.range(), text.protectedRanges())) return false;
  const std::int32_t messageAt = match.range().end();
  // Rewrites go from the end of the command back, so the earlier ranges stay valid.
  capitaliseAt(text, match.groups[6].location, "email-command-subject");
  if (match.has(5)) {
    text.replace(match.groups[4], u"Subject", "email-command-subject");
  } else {
    text.replace(match.groups[4], u"Subject:", "email-command-subject");
  }
  if (match.has(3)) text.replace(match.groups[3], u"", "email-command-subject");
  // The offsets after the removed comma moved back by its length.
  const std::int32_t shift = match.has(3) ? match.groups[3].length : 0;
  const std::int32_t colonShift = match.has(5) ? 0 : 1;
  text.breakBefore(match.groups[4].location - shift, BreakKind::line, "email-command-subject");
  text.breakBefore(messageAt - shift + colonShift, BreakKind::paragraph, "email-command-subject");
  text.messageStart = messageAt - shift + colonShift;
  capitaliseAt(text, match.groups[2].location, "email-command-subject");
  return true;
}

bool layoutRecipient(LayoutText& text) {
  auto matches = findAll(kRecipientCommand, text.text());
  if (!matches || matches->empty()) return false;
  const Match match = matches->front();
  if (intersectsAny(match.range(), text.protectedRanges())) return false;
  text.breakBefore(match.range().end(), BreakKind::paragraph, "email-command-recipient");
  text.messageStart = match.range().end();
  capitaliseAt(text, match.groups[1].location, "email-command-recipient");
  return true;
}

}  // namespace

bool isNoteToSelf(const icu::UnicodeString& text) { return containsMatch(kNoteOpening, text); }

void layoutEmailCommand(LayoutText& text) {
  if (isNoteToSelf(text.text())) return;
  if (!layoutSubject(text)) layoutRecipient(text);
}

}  // namespace murvelo::cleanup::layout
