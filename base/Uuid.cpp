#include "base/Uuid.h"

#include <array>
#include <cctype>
#include <cstdint>
#include <random>

#include <fmt/format.h>

namespace lingrelay {

std::string newUuid()
{
    thread_local std::random_device device;
    std::array<std::uint32_t, 4> word{device(), device(), device(), device()};
    word[1] = (word[1] & 0xFFFF'0FFFu) | 0x0000'4000u; // version 4
    word[2] = (word[2] & 0x3FFF'FFFFu) | 0x8000'0000u; // variant 1
    return fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:04X}{:08X}", word[0], word[1] >> 16, word[1] & 0xFFFFu,
        word[2] >> 16, word[2] & 0xFFFFu, word[3]);
}

bool isUuid(std::string_view text)
{
    if (text.size() != 36)
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? text[i] != '-' : !std::isxdigit(static_cast<unsigned char>(text[i])))
            return false;
    }
    return true;
}

} // namespace lingrelay
