#pragma once

#include "base/Result.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace lingrelay {

/// Writes a whole file, replacing what is there. The error is for the user.
std::optional<Error> writeFile(std::filesystem::path const& path, std::string_view content);

} // namespace lingrelay
