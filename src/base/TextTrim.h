#pragma once

#include <string>
#include <string_view>

namespace murvelo {

// Removes Unicode white space and line breaks (the White_Space property) from both ends of UTF-8
// text. Invalid bytes count as text, never as space.
std::string trimWhitespaceAndNewlines(std::string_view text);

// Drops control characters (C0, DEL, C1) other than tab, line feed and carriage return: a
// recogniser's stray NUL or escape must never reach the application the text is typed into.
std::string removeControlCharacters(std::string_view text);

}  // namespace murvelo
