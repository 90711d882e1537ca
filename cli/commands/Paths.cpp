#include "cli/commands/Paths.h"

#include "cli/terminal/Replies.h"
#include "platform/linux/FileDefaults.h"
#include "program/Paths.h"
#include "sessions/SessionStore.h"

namespace lingrelay {

namespace fs = std::filesystem;

fs::path defaultsPath(Arguments const& arguments) { return arguments.defaults ? *arguments.defaults : defaultsFile(); }

std::unique_ptr<Defaults> openDefaults(Arguments const& arguments)
{
    auto store = std::make_unique<FileDefaults>(defaultsPath(arguments));
    if (auto const& aside = store->setAside())
        complain(fmt::format("the settings file was damaged: it is now {}, and all settings are the standard ones. "
                             "Mended, it can be put back as {}",
            aside->string(), defaultsPath(arguments).string()));
    return store;
}

fs::path sessionsPath(Arguments const& arguments)
{
    return arguments.sessions ? *arguments.sessions : SessionStore::defaultFolder();
}

} // namespace lingrelay
