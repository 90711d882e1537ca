#pragma once

#include "base/Time.h"
#include "cli/commands/Arguments.h"

namespace lingrelay {

/// Runs `lingrelay-cli translate`, `say` or `test-voice`: makes everything that the run stands on, and takes it down
/// again. `start` is the program's. Returns the exit code.
int translateCommand(Arguments const& arguments, Instant start);

} // namespace lingrelay
