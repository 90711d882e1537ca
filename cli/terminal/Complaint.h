#pragma once

#include <string>

namespace lingrelay {

/// Writes one line with the program's name to standard error.
void complain(std::string const& message);

} // namespace lingrelay
