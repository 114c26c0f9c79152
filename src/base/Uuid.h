#pragma once

#include <string>

namespace murvelo {

// A random (version 4) UUID in its canonical upper-case text form.
std::string makeUuid();

// True when `text` is a UUID in canonical 8-4-4-4-12 hexadecimal form (either case).
bool isUuid(const std::string& text);

}  // namespace murvelo
