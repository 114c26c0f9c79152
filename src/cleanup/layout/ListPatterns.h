#pragma once

#include <optional>
#include <string>

#include "cleanup/layout/LayoutText.h"

// Pattern pieces and helpers shared by the list stages.
namespace murvelo::cleanup::layout::lists {

// A sentence that sums a list up starts a new paragraph.
inline const std::string kSummaryOpening = R"(^(?i:These|Those|Together|All of these|All of those)\b)";
// Sentences that carry on the item before them rather than leave the list: a continuation
// ("Then ...", "Also ...") or a pronoun that points back at the item ("It ...", "They ...").
inline const std::string kContinuationOpening = R"(^(?:Then|Otherwise|Or|And|Also|Plus)\b)";
inline const std::string kPronounOpening = R"(^(?:It|Its|He|His|She|Her|They|Their|This|That|If|Unless)\b)";

// A text that reports what some other text says or lists: a count in it announces nothing.
inline const std::string kReportsSaying =
    R"((?i)(?:^|[.!?]\s+)[^.!?\n]{1,120}\b(?<!\b(?:a|an|the|my|our|your|his|her|their|its|some|few|several|many|these|those|two|three|four|five|six|\d{1,3})[ \t])(?:says|said|reads|read|states|stated|shows|showed|instructs|instructed|directs|directed|specifies|specified|explains|explained|requests|requested|recommends|recommended|requires|required|orders|ordered|commands|commanded|notes|noted|indicates|indicated)\b[^.!?\n]*[.!?][ \t]*$)";
inline const std::string kReportsListing =
    R"((?i)(?:^|[.!?]\s+)[^.!?\n]{1,120}\b(?<!\b(?:a|an|the|my|our|your|his|her|their|its|some|few|several|many|these|those|two|three|four|five|six|\d{1,3})[ \t])(?:lists|listed|includes|included|contains|contained)\b[^.!?\n]*[.!?][ \t]*$)";
// A sentence that cites an authority is the authority's list, not the speaker's: never split.
inline const std::string kCitesAuthority =
    R"((?i)\b(?:according to|per|as (?:directed|stated|specified) by|on (?:the )?advice of|under (?:the )?direction of)\b)";

// Whether `sentence` (a whole sentence) may announce a list of the speaker's own.
bool mayAnnounce(const icu::UnicodeString& sentence);

// The value of a count word or figure from one to nine; nothing otherwise.
std::optional<int> countValue(const icu::UnicodeString& word);

// After the last item of a list that starts at `lastItemStart`: the item runs to the end of its
// first sentence and over sentences that carry it on; the next sentence starts a new paragraph,
// under `summaryRule` when it sums the list up, otherwise under `otherRule` (none when empty).
void breakAfterList(LayoutText& text, std::int32_t lastItemStart, const std::string& summaryRule,
                    const std::string& otherRule);

// The start of the trailing connective ("..., and", "... and then") that ends `item`, if any:
// a break before the next item goes before the connective so that no line ends on "and".
std::optional<std::int32_t> trailingConnectiveStart(const icu::UnicodeString& text, TextRange item);

}  // namespace murvelo::cleanup::layout::lists
