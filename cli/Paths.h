#pragma once

#include "cli/Arguments.h"

#include <filesystem>
#include <string>

namespace lingrelay {

/// Empty when the variable is not set.
std::string environment(char const* name);

/// The settings file and the archive folder that the arguments name, else the user's.
std::filesystem::path defaultsPath(Arguments const& arguments);
std::filesystem::path sessionsPath(Arguments const& arguments);

} // namespace lingrelay
