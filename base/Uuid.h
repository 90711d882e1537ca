#pragma once

#include <string>
#include <string_view>

namespace lingrelay {

/// A new random UUID (version 4) in its upper-case text form. Any thread.
std::string newUuid();

/// True for the text form of a UUID in either case.
bool isUuid(std::string_view text);

} // namespace lingrelay
