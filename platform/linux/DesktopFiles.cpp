#include "platform/linux/DesktopFiles.h"

#include "base/UserFolders.h"

#include <algorithm>
#include <cctype>
#include <fstream>

namespace lingrelay {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view classKey = "StartupWMClass=";

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

/// The class that the file gives its application's windows; empty: it does not say.
std::string classIn(fs::path const& path)
{
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(classKey))
            return line.substr(classKey.size());
    }
    return {};
}

/// How well a file fits; 0: not at all.
int fit(std::string const& wanted, std::string const& id, std::string const& windowClass)
{
    auto const last = id.substr(id.rfind('.') + 1); // of "org.example.Editor"
    if (windowClass == wanted)
        return 5;
    if (id == wanted)
        return 4;
    if (!windowClass.empty() && lower(windowClass) == lower(wanted))
        return 3;
    if (lower(id) == lower(wanted))
        return 2;
    return lower(last) == lower(wanted) ? 1 : 0;
}

} // namespace

DesktopFiles::DesktopFiles()
{
    for (auto const& folder : UserFolders::allData())
        m_folders.push_back(folder / "applications");
}

std::string DesktopFiles::idFor(std::string const& windowClass) const
{
    std::string best;
    int bestFit = 0;
    for (auto const& folder : m_folders) {
        std::error_code error;
        for (fs::recursive_directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
            if (it->path().extension() != ".desktop")
                continue;
            // A file in a folder of its own has that folder's name in its id.
            auto id = it->path().lexically_relative(folder).replace_extension().string();
            std::replace(id.begin(), id.end(), '/', '-');
            auto const now = fit(windowClass, id, classIn(it->path()));
            // Among equals the names decide, since a folder has no order of its own.
            if (now > bestFit || (now == bestFit && now > 0 && id < best)) {
                bestFit = now;
                best = id;
            }
        }
    }
    return best;
}

} // namespace lingrelay
