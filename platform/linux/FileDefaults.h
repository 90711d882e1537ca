#pragma once

#include "platform/Defaults.h"

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

namespace lingrelay {

/// A store in one JSON file, key to value: read once, and replaced atomically soon after each change by a thread of its
/// own, so that nobody waits for the disk; what is set when it dies is written before. Mode 0600 in a folder of mode
/// 0700.
///
/// Programs that share a file keep each other's changes: a lock file lets one at a time read the file and replace only
/// the keys that it has changed itself. They learn of them when they start again.
///
/// A damaged file counts as empty and is kept beside the new one as NAME.damaged, NAME.damaged.2 and so on.
class FileDefaults final : public Defaults {
public:
    explicit FileDefaults(std::filesystem::path path);
    ~FileDefaults() override;

    std::optional<Json> value(std::string const& key) const override;
    void set(std::string const& key, Json value) override;
    /// Waits until all changes are written, or could not be.
    void flush();

    /// Where the file is now that was found damaged when this was made: the user should be told.
    std::optional<std::filesystem::path> const& setAside() const { return m_setAside; }

private:
    void change(std::string const& key, Json value);
    void writeChanges();
    bool write(Json const& changes, Json const& known) const;

    std::filesystem::path m_path;
    std::optional<std::filesystem::path> m_setAside;
    mutable std::mutex m_mutex;
    Json m_values; ///< as this program knows them
    Json m_changes; ///< of this program and not written yet; a null removes
    bool m_changed = false; ///< since the writing began
    bool m_writing = false;
    bool m_ending = false;
    std::condition_variable m_news;
    std::thread m_writer; ///< from the first change on
};

} // namespace lingrelay
