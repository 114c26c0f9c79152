#include "cleanup/layout/EmailClosingLayout.h"

#include "cleanup/layout/EmailPatterns.h"

namespace murvelo::cleanup::layout {
namespace {

using namespace email;

const std::string kClosingPhrase = "(?:(?i:" + kClosingLeadIns +
                                   ")[ \\t]*,?[ \\t]+)?(?i:" + kCourtesyClosings +
                                   ")(?:[ \\t]*,?[ \\t]+(?i:" + kCasualTags + "))?";

// Groups: 1 the white space before the closing (absent at the start), 2 the closing, 3 its
// punctuation, 4 the white space before a signature, 5 the signature, 6 the signature's full stop.
std::string courtesyTail(const std::string& name) {
  return "(?:^|(?<=[.!?,])(\\s+))(" + kClosingPhrase + ")\\b([ \\t]*[.!,]+)(?:(\\s+)(" + name +
         ")(\\.?))?\\s*$";
}
// The same shape with a sign-off in front of the name ("Thanks, Anna"); the name is required.
std::string signOffTail(const std::string& name) {
  return "(?:^|(?<=[.!?,])(\\s+))((?i:" + kSignOffs + "))\\b([ \\t]*[.!,])?(\\s+)(" + name + ")(\\.?)\\s*$";
}
const std::string kCourtesyTail = courtesyTail(kSignatureName);
const std::string kCourtesyTailAnyCase = courtesyTail(kSignatureName + "|" + kLowerCaseSignature);
const std::string kSignOffTail = signOffTail(kSignatureName);
const std::string kSignOffTailAnyCase = signOffTail(kSignatureName + "|" + kLowerCaseSignature);
// Groups: 1 the white space before the name, 2 the name, 3 its full stop.
const std::string kFinalName = "(?<=[.!?])(\\s+)(" + kSignatureName + ")(\\.?)\\s*$";

std::optional<Match> lastMatch(const std::string& pattern, const LayoutText& text) {
  auto matches = findAll(pattern, text.text());
  if (!matches || matches->empty()) return std::nullopt;
  if (intersectsAny(matches->back().range(), text.protectedRanges())) return std::nullopt;
  return matches->back();
}

// A signature is a name, not a sentence: its closing full stop goes, unless it ends an initial.
void dropSignatureStop(LayoutText& text, const Match& match, int nameGroup, const std::string& rule) {
  const int stopGroup = nameGroup + 1;
  if (!match.has(stopGroup) || match.groups[stopGroup].length == 0) return;
  const TextRange name = match.groups[nameGroup];
  const std::int32_t lastSpace =
      icu::UnicodeString(text.text(), name.location, name.length).lastIndexOf(u' ');
  const std::int32_t lastWordLength = name.length - (lastSpace + 1);
  if (lastWordLength <= 1) return;
  text.replace(match.groups[stopGroup], u"", rule);
}

// The closing's own punctuation before a name becomes a comma (letter style); "!" stays.
void commaBeforeName(LayoutText& text, const Match& match, int punctuationGroup, int phraseGroup,
                     const std::string& rule) {
  if (!match.has(punctuationGroup) || match.groups[punctuationGroup].length == 0) {
    text.replace({match.groups[phraseGroup].end(), 0}, u",", rule);
    return;
  }
  const icu::UnicodeString mark(text.text(), match.groups[punctuationGroup].location,
                                match.groups[punctuationGroup].length);
  if (mark.indexOf(u'!') < 0 && mark != u",") text.replace(match.groups[punctuationGroup], u",", rule);
}

// Sets the closing (or sign-off) apart: a paragraph break before it, and a closing that was run
// into the last sentence with a comma ("let me know, talk soon.") gets that sentence closed with a
// full stop and its own capital.
void setApart(LayoutText& text, const Match& match, int phraseGroup, const std::string& paragraphRule,
              const std::string& boundRule) {
  if (!match.has(1)) return;  // the closing is the whole text
  const std::int32_t boundary = match.groups[1].location - 1;
  text.breakBefore(match.groups[phraseGroup].location, BreakKind::paragraph, paragraphRule);
  if (boundary >= 0 && text.text().charAt(boundary) == u',' &&
      !intersectsAny({boundary, 1}, text.protectedRanges())) {
    text.replace({boundary, 1}, u".", boundRule);
    capitaliseAt(text, match.groups[phraseGroup].location, boundRule);
  }
}

}  // namespace

ClosingFound layoutClosing(LayoutText& text, bool lowerCaseNames) {
  ClosingFound found;
  if (auto match = lastMatch(lowerCaseNames ? kCourtesyTailAnyCase : kCourtesyTail, text)) {
    const bool named = match->has(5);
    const icu::UnicodeString mark(text.text(), match->groups[3].location, match->groups[3].length);
    // Without a signature the closing must end the text as a sentence.
    if (named || mark.indexOf(u'.') >= 0 || mark.indexOf(u'!') >= 0) {
      found.closing = true;
      if (named) {
        dropSignatureStop(text, *match, 5, "email-courtesy-signature");
        capitaliseAt(text, match->groups[5].location, "email-courtesy-signature");
        text.breakBefore(match->groups[5].location, BreakKind::line, "email-courtesy-signature");
        commaBeforeName(text, *match, 3, 2, "email-courtesy-signature");
        found.signature = true;
      }
      setApart(text, *match, 2, "email-courtesy-paragraph", "email-bounded-closing");
      return found;
    }
  }
  if (auto match = lastMatch(lowerCaseNames ? kSignOffTailAnyCase : kSignOffTail, text)) {
    found.closing = true;
    found.signature = true;
    dropSignatureStop(text, *match, 5, "email-signature");
    capitaliseAt(text, match->groups[5].location, "email-signature");
    text.breakBefore(match->groups[5].location, BreakKind::line, "email-signature");
    commaBeforeName(text, *match, 3, 2, "email-closing-block");
    setApart(text, *match, 2, "email-closing-block", "email-closing-block");
  }
  return found;
}

bool layoutFinalNameSignature(LayoutText& text) {
  auto match = lastMatch(kFinalName, text);
  if (!match || match->groups[2].location < text.messageStart) return false;
  dropSignatureStop(text, *match, 2, "email-final-name-signature");
  return text.breakBefore(match->groups[2].location, BreakKind::line, "email-final-name-signature");
}

}  // namespace murvelo::cleanup::layout
