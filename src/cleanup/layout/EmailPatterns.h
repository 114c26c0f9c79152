#pragma once

#include <string>

#include "cleanup/layout/EmailVocabulary.h"

// Pattern pieces shared by the e-mail stages, built once from the word lists.
namespace murvelo::cleanup::layout::email {

using namespace vocabulary;

// A capitalised name word that is not one of the never-a-name words. (The capital is checked first:
// it is far cheaper than the word list.)
// Day words are left out so that "Hi Mom Monday ..." does not address someone called Monday, and
// titles because a title is never the name itself.
inline const std::string kNameWord =
    "(?=\\p{Lu})(?!(?i:" + kNeverNames + "|" + kDayWords + "|" + kTitles + ")\\b)\\p{Lu}[\\p{L}\\p{M}'’\\-]*";
// One to three name words, with an optional title ("Dr. Jane Smith").
inline const std::string kName =
    "(?:(?:" + kTitles + ")\\.[ \\t]+)?" + kNameWord + "(?:[ \\t]+" + kNameWord + "){0,2}";
// A signature name: its words may hold full stops ("J.R. Smith", "Anna K.") and none may be a
// sign-off word. A full stop after a whole word is left outside the name (it ends the sentence).
inline const std::string kSignatureWord =
    "(?!(?i:" + kNotSignatureStarts + "|" + kNeverNames + "|" + kDayWords +
    ")\\b)(?:\\p{Lu}\\.(?:\\p{L}\\.)+|\\p{Lu}\\.(?=\\s|$)|\\p{Lu}[\\p{L}\\p{M}'’\\-]*)";
inline const std::string kSignatureName = kSignatureWord + "(?:[ \\t]+" + kSignatureWord + "){0,2}";
// In a message that opened with a greeting, a sign-off may also stand over a name written in lower
// case ("thanks, marco"): one word that is no sign-off, group, day or everyday word after a
// sign-off. It is capitalised.
inline const std::string kLowerCaseSignature =
    "(?=\\p{Ll})(?!(?i:" + kNotSignatureStarts + "|" + kNeverNames + "|" + kDayWords + "|" +
    kGroupAddressees + "|" + kCasualTags +
    "|again|too|for|much|lot|now|anyway|later)\\b)\\p{Ll}[\\p{L}\\p{M}'’\\-]+";

inline const std::string kGroup = "(?i:" + kGroupAddressees + ")\\b";
// A family word, optionally after "my", and optionally a capitalised name that is not a day.
inline const std::string kFamily = "(?i:(?:my[ \\t]+)?(?:" + kFamilyAddressees +
                                   "))\\b(?:[ \\t]+(?!(?i:" + kDayWords + ")\\b)" + kNameWord + ")?";
// Speech recognisers often write names in lower case ("hi john,"). A single lower-case word is
// taken as a name only right before punctuation or a word that opens a body ("hi john thanks for
// ..."), and only when it is no common word that follows a greeting for another reason ("hey
// look, ..."); it is then capitalised.
inline const std::string kLowerCaseName =
    "(?=\\p{Ll})(?!(?i:" + kNeverNames + "|" + kBodyOpeners + "|" + kGroupAddressees + "|" +
    kFamilyAddressees + "|" + kTitles +
    "|look|listen|wait|guess|check|come|stop|now|why|yeah|well|again|back|honey|sweetie|dear|love|babe|"
    "sir|madam|ma'am|folks|um|uh)\\b)\\p{Ll}[\\p{L}\\p{M}'’\\-]+(?=[ \\t]*[,.!]|[ \\t]+(?i:" +
    kBodyOpeners + ")\\b)";
// A title in any case, with or without its full stop, and the name after it, which may be written
// in lower case ("dear mr. smith,"): the title is never the name itself.
inline const std::string kTitledName =
    "(?i:" + kTitles + ")\\.?[ \\t]+(?:" + kNameWord + "(?:[ \\t]+" + kNameWord +
    "){0,2}|(?!(?i:" + kNeverNames + "|" + kBodyOpeners +
    ")\\b)\\p{Ll}[\\p{L}\\p{M}'’\\-]+(?=[ \\t]*[,.!]|[ \\t]+(?i:" + kBodyOpeners + ")\\b))";
// Who a greeting addresses: two names joined by "and" or "&" are one addressee.
inline const std::string kAddressee = "(?:" + kTitledName + "|" + kName + "(?:[ \\t]+(?:and|&)[ \\t]+" +
                                      kName + ")?|" + kFamily + "|" + kGroup + "|" + kLowerCaseName + ")";

inline const std::string kGreeting = "(?i:" + kGreetingWords + ")";

// A text that opens as a note to oneself gets no e-mail layout.
inline const std::string kNoteOpening = R"(^(?i:quick note|note for myself)\b[ \t,:.]*\p{L})";

}  // namespace murvelo::cleanup::layout::email
