#include "cleanup/layout/DestinationContrast.h"

#include "cleanup/layout/EmailPatterns.h"

namespace murvelo::cleanup::layout {
namespace {

using namespace email;

// A destination: a name with an optional title, or an article and up to three words.
const std::string kDestination = "(?:" + kName + "|(?i:the|a|an)(?:[ \\t]+[\\p{L}\\p{M}'’\\-]+){1,3}?)";

// Verb of sending, up to 100 characters without sentence or clause punctuation, "to"/"for" and the
// first destination (group 1 ends it), then "not" and the second destination.
const std::string kContrast = "\\b(?i:" + kSendingVerbs + ")\\b[^.!?,;:\\n]{0,100}?\\b(?i:to|for)[ \\t]+(" +
                              kDestination + ")[ \\t]+(?=(?i:not)[ \\t]+(?:(?i:to|for)[ \\t]+)?" +
                              kDestination + "\\b)";

}  // namespace

void layoutDestinationContrast(LayoutText& text) {
  auto matches = findAll(kContrast, text.text());
  if (!matches) return;
  for (auto it = matches->rbegin(); it != matches->rend(); ++it) {
    if (intersectsAny(it->range(), text.protectedRanges())) continue;
    // The white space after the first destination becomes ", ".
    const std::int32_t end = it->groups[1].end();
    text.replace({end, it->range().end() - end}, u", ", "destination-contrast-comma");
  }
}

}  // namespace murvelo::cleanup::layout
