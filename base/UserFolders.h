#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lingrelay {

/// Empty when the variable is not set.
std::string environment(char const* name);

/// Where programs keep what belongs to the user, by the XDG rules: a variable that is unset, empty or holds a relative
/// path gives the usual place in the home folder.
class UserFolders {
public:
    static std::filesystem::path config();
    static std::filesystem::path data();
    static std::filesystem::path state();
    /// `data()` and the folders of the whole system, the most important one first.
    static std::vector<std::filesystem::path> allData();
};

} // namespace lingrelay
