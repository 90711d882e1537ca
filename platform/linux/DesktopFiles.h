#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lingrelay {

/// The .desktop files of installed applications. Reads the disk at each call; any thread.
class DesktopFiles {
public:
    /// Folders named "applications", the most important one first.
    explicit DesktopFiles(std::vector<std::filesystem::path> folders) : m_folders(std::move(folders)) { }
    /// The user's and the system's.
    DesktopFiles();

    /// The id of the application whose windows have that class, without ".desktop"; empty when there is none. What a
    /// file says of its windows counts more than its name, and the exact letters more than their case.
    std::string idFor(std::string const& windowClass) const;

private:
    std::vector<std::filesystem::path> m_folders;
};

} // namespace lingrelay
