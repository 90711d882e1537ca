#include "base/Base64.h"

#include <openssl/evp.h>

namespace lingrelay {

std::string encodeBase64(std::string_view bytes)
{
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    auto const length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
        reinterpret_cast<unsigned char const*>(bytes.data()), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::optional<std::string> decodeBase64(std::string_view text)
{
    // EVP_DecodeBlock skips blanks at both ends and counts padding as zero bytes; neither is wanted here.
    if (text.size() % 4 != 0 || text.find_first_of(" \t\r\n") != std::string_view::npos)
        return {};
    std::size_t const padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    if (text.substr(0, text.size() - padding).find('=') != std::string_view::npos)
        return {};
    std::string bytes(text.size() / 4 * 3, '\0');
    auto const length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
        reinterpret_cast<unsigned char const*>(text.data()), static_cast<int>(text.size()));
    if (length < 0)
        return {};
    bytes.resize(static_cast<std::size_t>(length) - padding);
    return bytes;
}

} // namespace lingrelay
