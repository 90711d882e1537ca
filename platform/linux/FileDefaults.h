#pragma once

#include "platform/Defaults.h"

#include <filesystem>
#include <map>
#include <mutex>

namespace lingrelay {

/// A store in one JSON file, key to value: read once, replaced whole and atomically at each change, mode 0600 in a
/// folder of mode 0700. A damaged file counts as empty and is kept beside the new one as NAME.damaged.
class FileDefaults final : public Defaults {
public:
    explicit FileDefaults(std::filesystem::path path);

    std::optional<Json> value(std::string const& key) const override;
    void set(std::string const& key, Json value) override;

private:
    void write() const;

    std::filesystem::path m_path;
    mutable std::mutex m_mutex;
    Json m_values;
};

} // namespace lingrelay
