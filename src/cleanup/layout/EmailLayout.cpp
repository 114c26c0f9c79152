#include "cleanup/layout/EmailLayout.h"

#include "cleanup/layout/EmailClosingLayout.h"
#include "cleanup/layout/EmailCommandLayout.h"
#include "cleanup/layout/EmailGreetingLayout.h"

namespace murvelo::cleanup::layout {
namespace {

const std::string kParagraphSeparator = R"((?<=\S)[ \t]*\n(?:[ \t]*\n)+[ \t]*(?=\S))";

}  // namespace

void normaliseParagraphSeparators(LayoutText& text) {
  auto matches = findAll(kParagraphSeparator, text.text());
  if (!matches) return;
  for (auto it = matches->rbegin(); it != matches->rend(); ++it) {
    if (intersectsAny(it->range(), text.protectedRanges())) continue;
    if (it->text(text.text()) == u"\n\n") continue;
    text.replace(it->range(), u"\n\n", "");
  }
}

void layoutEmail(LayoutText& text) {
  if (!isNoteToSelf(text.text())) {
    const auto body = layoutGreeting(text);
    if (body) {
      layoutConditionComma(text, *body);
      capitaliseAt(text, *body, "body-capitalization");
    }
    const ClosingFound closing = layoutClosing(text, body.has_value());
    bool signature = closing.signature;
    // A lone name at the end is a signature only in something that reads as a message.
    if (!signature && (body || closing.closing)) signature = layoutFinalNameSignature(text);
    // The text now ends in a name, not in a sentence mark.
    if (signature) text.skipClosingMarks = true;
  }
  normaliseParagraphSeparators(text);
}

}  // namespace murvelo::cleanup::layout
