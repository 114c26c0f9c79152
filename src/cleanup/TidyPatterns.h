#pragma once

#include <string>
#include <vector>

namespace murvelo::cleanup {

// The fixed patterns of the Tidy stages, for a test that every one of them compiles (a pattern that
// does not compile would silently skip its rule).
std::vector<std::string> corePatterns();
// A transcript that ends on one of these words was cut off, not finished: it gets no closing stop.
const std::string& danglingEndingPattern();
std::vector<std::string> fillerPatterns();

}  // namespace murvelo::cleanup
