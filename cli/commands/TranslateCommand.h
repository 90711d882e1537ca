#pragma once

#include "base/Time.h"
#include "cli/commands/Arguments.h"
#include "program/MachineSound.h"

#include <optional>

namespace lingrelay {

/// Runs `lingrelay-cli translate`, `say` or `test-voice`: makes everything that the run stands on, and takes it down
/// again. `start` is the program's; `machine` is used in the place of the sound server, where there is one. Returns the
/// exit code.
int translateCommand(Arguments const& arguments, Instant start, std::optional<MachineSound> machine = {});

} // namespace lingrelay
