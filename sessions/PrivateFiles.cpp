#include "sessions/PrivateFiles.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lingrelay {

namespace {

constexpr off_t largestFile = off_t(64) << 20;

std::string unfinishedBeside(std::filesystem::path const& path) { return path.string() + ".new"; }

} // namespace

FileHandle::~FileHandle()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

void PrivateFiles::makeFolder(std::filesystem::path const& path)
{
    std::filesystem::path folder;
    for (auto const& part : path) {
        folder /= part;
        ::mkdir(folder.c_str(), 0700);
    }
}

std::optional<Error> PrivateFiles::write(std::filesystem::path const& path, std::string_view content)
{
    auto const unfinished = unfinishedBeside(path);
    FileHandle const file(::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!file)
        return failure(path, "written");
    bool good = true;
    while (good && !content.empty()) {
        auto const count = ::write(*file, content.data(), content.size());
        if (count > 0)
            content.remove_prefix(static_cast<std::size_t>(count));
        else
            good = count < 0 && errno == EINTR;
    }
    if (good && ::rename(unfinished.c_str(), path.c_str()) == 0)
        return {};
    auto error = failure(path, "written");
    ::unlink(unfinished.c_str());
    return error;
}

bool PrivateFiles::remove(std::filesystem::path const& path)
{
    ::unlink(unfinishedBeside(path).c_str());
    return ::unlink(path.c_str()) == 0;
}

bool PrivateFiles::sync(std::filesystem::path const& path)
{
    FileHandle const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return file && ::fdatasync(*file) == 0;
}

bool PrivateFiles::read(std::filesystem::path const& path, std::string& content)
{
    // Not blocking: a pipe without a writer would hold the reader up for ever.
    return read(FileHandle(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)), content);
}

bool PrivateFiles::read(FileHandle const& file, std::string& content)
{
    struct stat status { };
    if (!file || ::fstat(*file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > largestFile)
        return false;
    content.resize(static_cast<std::size_t>(status.st_size));
    std::size_t done = 0;
    while (done < content.size()) {
        auto const count = ::read(*file, content.data() + done, content.size() - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        if (count == 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    content.resize(done);
    return true;
}

Error PrivateFiles::failure(std::filesystem::path const& path, char const* verb)
{
    return Error{
        Error::Kind::other, fmt::format("{} cannot be {}: {}", path.string(), verb, std::strerror(errno)), errno};
}

} // namespace lingrelay
