#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace lingrelay {

/// A folder of its own for one case.
class ScratchFolder {
public:
    ScratchFolder()
    {
        auto name = (std::filesystem::temp_directory_path() / "lingrelay-XXXXXX").string();
        m_path = ::mkdtemp(name.data());
    }
    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchFolder(ScratchFolder const&) = delete;
    ScratchFolder& operator=(ScratchFolder const&) = delete;

    std::filesystem::path const& path() const { return m_path; }
    std::filesystem::path operator/(std::string const& name) const { return m_path / name; }

    static void write(std::filesystem::path const& path, std::string const& content)
    {
        std::ofstream(path, std::ios::binary) << content;
    }
    static std::string read(std::filesystem::path const& path)
    {
        std::stringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }

private:
    std::filesystem::path m_path;
};

} // namespace lingrelay
