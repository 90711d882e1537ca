#pragma once

#include "base/Json.h"
#include "base/Result.h"

#include <string>
#include <string_view>

namespace lingrelay {

/// Reads the text given for a stored key as a value of the key's type. The error names the key and what it takes, and
/// never repeats the text, which may be a secret.
Result<Json> storedValue(std::string const& key, std::string_view text);

} // namespace lingrelay
