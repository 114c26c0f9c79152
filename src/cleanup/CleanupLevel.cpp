#include "cleanup/CleanupLevel.h"

#include "base/NameTable.h"

namespace murvelo {
namespace {

constexpr NameTable<CleanupLevel, 4> kCleanupLevels{{
    {CleanupLevel::none, "none"},
    {CleanupLevel::light, "light"},
    {CleanupLevel::format, "format"},
    {CleanupLevel::medium, "medium"},
}};

}  // namespace

std::string_view rawValue(CleanupLevel level) { return nameOf(kCleanupLevels, level); }
std::optional<CleanupLevel> parseCleanupLevel(std::string_view raw) { return parseName(kCleanupLevels, raw); }

}  // namespace murvelo
