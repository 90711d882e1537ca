#pragma once

#include <filesystem>
#include <string>

namespace lingrelay {

/// Empty when the variable is not set.
std::string environment(char const* name);

/// The user's settings file.
std::filesystem::path defaultsFile();

} // namespace lingrelay
