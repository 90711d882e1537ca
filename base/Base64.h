#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lingrelay {

/// Standard Base64 with padding. Decoding gives nothing for text of another form.
std::string encodeBase64(std::string_view bytes);
std::optional<std::string> decodeBase64(std::string_view text);

} // namespace lingrelay
