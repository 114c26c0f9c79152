#pragma once

#include <optional>
#include <string_view>

namespace murvelo {

// How much cleanup a transcript gets. `medium` is the legacy Rewrite choice, migrated to `format`.
enum class CleanupLevel { none, light, format, medium };

// The stored name, and parsing of exactly those names.
std::string_view rawValue(CleanupLevel level);
std::optional<CleanupLevel> parseCleanupLevel(std::string_view raw);

}  // namespace murvelo
