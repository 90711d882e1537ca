#include "program/Paths.h"

#include <cstdlib>

namespace lingrelay {

namespace fs = std::filesystem;

std::string environment(char const* name)
{
    char const* value = std::getenv(name);
    return value ? value : "";
}

fs::path defaultsFile()
{
    auto const folder = environment("XDG_CONFIG_HOME");
    return (folder.empty() ? fs::path(environment("HOME")) / ".config" : fs::path(folder)) / "lingrelay/defaults.json";
}

} // namespace lingrelay
