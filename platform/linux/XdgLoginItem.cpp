#include "platform/linux/XdgLoginItem.h"

#include "base/UserFolders.h"

#include <fstream>
#include <string>

namespace lingrelay {

namespace fs = std::filesystem;

namespace {

/// As the Desktop Entry Specification quotes an argument of "Exec": for its own rules, then for those of strings.
std::string quoted(std::string const& text)
{
    std::string argument = "\"";
    for (auto const character : text) {
        if (character == '"' || character == '`' || character == '$' || character == '\\')
            argument += '\\';
        argument += character;
        if (character == '%')
            argument += '%';
    }
    argument += '"';
    std::string value;
    for (auto const character : argument) {
        value += character;
        if (character == '\\')
            value += '\\';
    }
    return value;
}

} // namespace

XdgLoginItem::XdgLoginItem(fs::path const& folder, fs::path program)
    : m_file(folder / "lingrelay.desktop")
    , m_program(std::move(program))
{
}

XdgLoginItem::XdgLoginItem() : XdgLoginItem(UserFolders::config() / "autostart", fs::read_symlink("/proc/self/exe")) { }

bool XdgLoginItem::enabled() const
{
    std::ifstream file(m_file);
    if (!file)
        return false;
    for (std::string line; std::getline(file, line);) {
        if (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false")
            return false;
    }
    return true;
}

bool XdgLoginItem::setEnabled(bool on)
{
    std::error_code error;
    if (!on) {
        fs::remove(m_file, error);
        return !error;
    }
    fs::create_directories(m_file.parent_path(), error);
    auto const fresh = m_file.string() + ".new";
    {
        std::ofstream file(fresh, std::ios::trunc);
        file << "[Desktop Entry]\nType=Application\nName=Lingrelay Pro\nExec=" << quoted(m_program.string())
             << "\nIcon=lingrelay\nX-GNOME-Autostart-enabled=true\n";
        if (!file.flush())
            return false;
    }
    fs::rename(fresh, m_file, error);
    return !error;
}

} // namespace lingrelay
