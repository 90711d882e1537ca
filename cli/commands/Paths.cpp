#include "cli/commands/Paths.h"

#include "sessions/SessionStore.h"

namespace lingrelay {

namespace fs = std::filesystem;

fs::path defaultsPath(Arguments const& arguments) { return arguments.defaults ? *arguments.defaults : defaultsFile(); }

fs::path sessionsPath(Arguments const& arguments)
{
    return arguments.sessions ? *arguments.sessions : SessionStore::defaultFolder();
}

} // namespace lingrelay
