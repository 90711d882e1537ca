#pragma once

#include "cli/commands/Arguments.h"

namespace lingrelay {

/// Runs `lingrelay-cli devices`: lists the machine's sound, installs and removes the virtual microphone. Returns the
/// exit code.
int devicesCommand(Arguments const& arguments);

} // namespace lingrelay
