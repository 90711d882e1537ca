#include "cli/commands/OutputFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include <fmt/format.h>

namespace lingrelay {

std::optional<Error> writeFile(std::filesystem::path const& path, std::string_view content)
{
    errno = 0;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    if (file)
        return {};
    return Error{Error::Kind::other, fmt::format("{}: cannot be written: {}", path.string(), std::strerror(errno))};
}

} // namespace lingrelay
