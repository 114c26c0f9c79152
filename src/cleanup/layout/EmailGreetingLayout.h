#pragma once

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// The greeting of a message on a line of its own: "Hi Anna, thanks ..." becomes
// "Hi Anna,\n\nThanks ..." ("email-greeting"; "email-greeting-only" when no body follows). Returns
// where the body starts, or nothing when the text opens with no greeting.
std::optional<std::int32_t> layoutGreeting(LayoutText& text);

// In the body: "If ... by Friday please send ..." gains a comma after the condition
// ("email-introductory-condition-comma").
void layoutConditionComma(LayoutText& text, std::int32_t bodyStart);

}  // namespace murvelo::cleanup::layout
