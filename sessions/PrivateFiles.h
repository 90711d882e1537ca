#pragma once

#include "base/Result.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace lingrelay {

/// An open file; closed when the last copy of its owner goes. -1: none.
class FileHandle {
public:
    explicit FileHandle(int descriptor) : m_descriptor(descriptor) { }
    ~FileHandle();
    FileHandle(FileHandle const&) = delete;
    FileHandle& operator=(FileHandle const&) = delete;

    explicit operator bool() const { return m_descriptor >= 0; }
    int operator*() const { return m_descriptor; }

private:
    int m_descriptor;
};

/// Files that only their user may read, since they hold conversations. Any thread.
class PrivateFiles {
public:
    /// Creates the folder and those above it, mode 0700, where they are missing. A failure shows at the next access.
    static void makeFolder(std::filesystem::path const& path);

    /// Writes the file beside its place and then moves it there, mode 0600: a failure leaves what was there before.
    static std::optional<Error> write(std::filesystem::path const& path, std::string_view content);
    /// Removes the file, and what is left of a write that a crash cut short; false when the file stays.
    static bool remove(std::filesystem::path const& path);
    /// Waits until the disk has what was written, which then outlasts a power cut; false when it has not.
    static bool sync(std::filesystem::path const& path);

    /// Replaces `content` with the file's; false for what is no ordinary file, or too large to be one of ours.
    static bool read(std::filesystem::path const& path, std::string& content);
    static bool read(FileHandle const& file, std::string& content);

    /// What went wrong with `path`, by errno.
    static Error failure(std::filesystem::path const& path, char const* verb);
};

} // namespace lingrelay
