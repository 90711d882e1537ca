#pragma once

#include "cli/Arguments.h"

namespace lingrelay {

/// Runs `lingrelay-cli devices`: lists the machine's sound, installs and removes the virtual microphone. Returns the
/// exit code.
int devicesCommand(Arguments const& arguments);

} // namespace lingrelay
