#include "program/Paths.h"

#include "base/UserFolders.h"

namespace lingrelay {

std::filesystem::path defaultsFile() { return UserFolders::config() / "lingrelay/defaults.json"; }

} // namespace lingrelay
