#pragma once

#include <filesystem>

namespace lingrelay {

/// The user's settings file.
std::filesystem::path defaultsFile();

} // namespace lingrelay
