#pragma once

#include <filesystem>
#include <string_view>

#include "base/Status.h"

namespace murvelo {

// Replaces `file`'s contents with `text` so that a reader sees the old contents or the new, never
// a part of either: the text goes to a file of this writer's own beside it, which is then renamed
// over it. Creates the folder when needed.
Status replaceFileContents(const std::filesystem::path& file, std::string_view text);

}  // namespace murvelo
