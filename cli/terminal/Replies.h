#pragma once

#include <string>
#include <string_view>

namespace lingrelay {

enum ExitCode { exitDone = 0, exitFailed = 1, exitBadArguments = 2 };

/// Writes one line with the program's name to standard error.
void complain(std::string const& message);

/// What a command ends with: the complaint, and the exit code that goes with it.
int badArguments(std::string const& message);
int failed(std::string const& message);
/// The whole text on standard output. A reader that has gone is no failure; a full disk is.
int print(std::string_view text);

} // namespace lingrelay
