#pragma once

#include "platform/Defaults.h"

#include <map>
#include <mutex>

namespace lingrelay {

/// A store in memory.
class SimDefaults final : public Defaults {
public:
    std::optional<Json> value(std::string const& key) const override
    {
        std::lock_guard const lock(m_mutex);
        auto const found = m_values.find(key);
        return found == m_values.end() ? std::optional<Json>() : found->second;
    }
    void set(std::string const& key, Json value) override
    {
        std::lock_guard const lock(m_mutex);
        if (value.is_null())
            m_values.erase(key);
        else
            m_values[key] = std::move(value);
    }

private:
    mutable std::mutex m_mutex;
    std::map<std::string, Json> m_values;
};

} // namespace lingrelay
