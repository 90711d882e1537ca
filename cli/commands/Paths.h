#pragma once

#include "cli/commands/Arguments.h"
#include "program/Paths.h"

#include <filesystem>

namespace lingrelay {

/// The settings file and the archive folder that the arguments name, else the user's.
std::filesystem::path defaultsPath(Arguments const& arguments);
std::filesystem::path sessionsPath(Arguments const& arguments);

} // namespace lingrelay
