#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <stdlib.h>

namespace lingrelay {

/// A folder of a case's own, removed with it.
class TemporaryFolder {
public:
    TemporaryFolder()
    {
        auto pattern = (std::filesystem::temp_directory_path() / "lingrelay-test-XXXXXX").string();
        m_path = ::mkdtemp(pattern.data());
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;

    std::string const& path() const { return m_path; }
    std::string operator/(std::string const& name) const { return m_path + '/' + name; }

private:
    std::string m_path;
};

inline std::string readFile(std::filesystem::path const& path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}
/// Makes its folder, too.
inline void writeFile(std::filesystem::path const& path, std::string const& text)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

} // namespace lingrelay
