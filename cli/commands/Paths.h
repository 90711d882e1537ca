#pragma once

#include "cli/commands/Arguments.h"
#include "platform/Defaults.h"

#include <filesystem>
#include <memory>

namespace lingrelay {

/// The settings file that the arguments name, else the user's. A damaged one is told of on standard error.
std::filesystem::path defaultsPath(Arguments const& arguments);
std::unique_ptr<Defaults> openDefaults(Arguments const& arguments);

/// The archive folder that the arguments name, else the user's.
std::filesystem::path sessionsPath(Arguments const& arguments);

} // namespace lingrelay
