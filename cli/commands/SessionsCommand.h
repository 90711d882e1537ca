#pragma once

#include "cli/commands/Arguments.h"

namespace lingrelay {

/// Runs `lingrelay-cli sessions VERB ...` on the archive. Returns the exit code.
int sessionsCommand(Arguments const& arguments);

} // namespace lingrelay
