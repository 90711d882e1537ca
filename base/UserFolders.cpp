#include "base/UserFolders.h"

#include <algorithm>
#include <cstdlib>

namespace lingrelay {

namespace fs = std::filesystem;

namespace {

fs::path folder(char const* variable, char const* inHome)
{
    fs::path const chosen = environment(variable);
    if (chosen.is_absolute())
        return chosen;
    auto const home = environment("HOME");
    return fs::path(home.empty() ? "/" : home) / inHome;
}

} // namespace

std::string environment(char const* name)
{
    char const* const value = std::getenv(name);
    return value ? value : "";
}

fs::path UserFolders::config() { return folder("XDG_CONFIG_HOME", ".config"); }
fs::path UserFolders::data() { return folder("XDG_DATA_HOME", ".local/share"); }
fs::path UserFolders::state() { return folder("XDG_STATE_HOME", ".local/state"); }

std::vector<fs::path> UserFolders::allData()
{
    std::vector<fs::path> folders{data()};
    auto list = environment("XDG_DATA_DIRS");
    if (list.empty())
        list = "/usr/local/share:/usr/share";
    for (std::size_t start = 0; start <= list.size();) {
        auto const end = std::min(list.find(':', start), list.size());
        if (fs::path each = list.substr(start, end - start); each.is_absolute())
            folders.push_back(std::move(each));
        start = end + 1;
    }
    return folders;
}

} // namespace lingrelay
