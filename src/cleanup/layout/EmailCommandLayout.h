#pragma once

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// First layout stage: a dictated command in front of a message ("Email Anna, subject lunch plans.
// Hi Anna, ...") is set apart from the message, which then starts at the greeting
// ("email-command-subject", "email-command-recipient").
void layoutEmailCommand(LayoutText& text);

// True when the text opens as a note to oneself ("Quick note", "Note for myself"): no e-mail layout.
bool isNoteToSelf(const icu::UnicodeString& text);

}  // namespace murvelo::cleanup::layout
