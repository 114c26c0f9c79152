#pragma once

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// The e-mail layout stage, in order: greeting, introductory-condition comma, body capital,
// closings, final-name signature; then paragraph separators are normalised everywhere.
void layoutEmail(LayoutText& text);

// Any run of blank lines between two non-space characters becomes exactly one blank line.
void normaliseParagraphSeparators(LayoutText& text);

}  // namespace murvelo::cleanup::layout
