#pragma once

#include "cli/commands/Arguments.h"

namespace lingrelay {

/// Runs `lingrelay-cli settings [KEY [VALUE]]`: lists, shows or stores. Returns the exit code.
int settingsCommand(Arguments const& arguments);

} // namespace lingrelay
