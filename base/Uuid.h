#pragma once

#include <string>

namespace lingrelay {

/// A new random UUID (version 4) in its upper-case text form. Any thread.
std::string newUuid();

} // namespace lingrelay
