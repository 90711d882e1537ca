#pragma once

#include "base/Json.h"
#include "base/Result.h"

#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// Reads the text given for a stored key as a value of the key's type. The error names the key and what it takes, and
/// never repeats the text, which may be a secret.
Result<Json> storedValue(std::string const& key, std::string_view text);

/// Every key that can be stored: the settings record's in its order, then the others.
std::vector<std::string> storedKeys();

/// What the current registry's store holds for a key, as people read it, or the record's default; a user's key is
/// masked.
std::string storedText(std::string const& key);

} // namespace lingrelay
