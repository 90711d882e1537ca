#pragma once

#include "base/Json.h"
#include "base/Time.h"

#include <fstream>
#include <string>

namespace lingrelay::service {

/// Writes what clients send as JSON lines, each with `t`, the seconds since the start. One thread.
class Recorder {
public:
    Recorder() = default;
    /// False when the file cannot be written.
    bool open(std::string const& path)
    {
        m_file.open(path, std::ios::trunc);
        m_start = Clock::now();
        return m_file.is_open();
    }

    void write(Json line)
    {
        if (!m_file.is_open())
            return;
        line["t"] = toSeconds(Clock::now() - m_start);
        m_file << jsonText(line) << std::endl; // a test reads it while the service runs
    }

private:
    std::ofstream m_file;
    Instant m_start{};
};

} // namespace lingrelay::service
