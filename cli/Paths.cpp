#include "cli/Paths.h"

#include "sessions/SessionStore.h"

#include <cstdlib>

namespace lingrelay {

namespace fs = std::filesystem;

std::string environment(char const* name)
{
    char const* value = std::getenv(name);
    return value ? value : "";
}

fs::path defaultsPath(Arguments const& arguments)
{
    if (arguments.defaults)
        return *arguments.defaults;
    auto const folder = environment("XDG_CONFIG_HOME");
    return (folder.empty() ? fs::path(environment("HOME")) / ".config" : fs::path(folder)) / "lingrelay/defaults.json";
}

fs::path sessionsPath(Arguments const& arguments)
{
    return arguments.sessions ? *arguments.sessions : SessionStore::defaultFolder();
}

} // namespace lingrelay
