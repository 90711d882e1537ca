#pragma once

#include "platform/Defaults.h"

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

namespace lingrelay {

/// A store in one JSON file, key to value: read once, replaced whole and atomically soon after each change by a thread
/// of its own, so that nobody waits for the disk; what is set when it dies is written before. Mode 0600 in a folder of
/// mode 0700. A damaged file counts as empty and is kept beside the new one as NAME.damaged.
class FileDefaults final : public Defaults {
public:
    explicit FileDefaults(std::filesystem::path path);
    ~FileDefaults() override;

    std::optional<Json> value(std::string const& key) const override;
    void set(std::string const& key, Json value) override;
    /// Waits until all changes are written, or could not be.
    void flush();

private:
    void writeChanges();
    void write(std::string const& text) const;

    std::filesystem::path m_path;
    mutable std::mutex m_mutex;
    Json m_values;
    bool m_changed = false; ///< and not written yet
    bool m_writing = false;
    bool m_ending = false;
    std::condition_variable m_news;
    std::thread m_writer; ///< from the first change on
};

} // namespace lingrelay
