#pragma once

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// What the closing rules found at the end of a message.
struct ClosingFound {
  bool closing = false;    // a courtesy closing or a sign-off block
  bool signature = false;  // a name set on its own line
};

// Courtesy closings and sign-off blocks at the end of a message ("email-bounded-closing",
// "email-courtesy-paragraph", "email-courtesy-signature", "email-closing-block", "email-signature").
// `lowerCaseNames` admits a signature written in lower case (for a message that has a greeting).
ClosingFound layoutClosing(LayoutText& text, bool lowerCaseNames);

// A final sentence that is only a name becomes the signature ("email-final-name-signature").
bool layoutFinalNameSignature(LayoutText& text);

}  // namespace murvelo::cleanup::layout
