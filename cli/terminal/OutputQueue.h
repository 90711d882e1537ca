#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "base/Time.h"

namespace lingrelay {

/// Writes to a file descriptor, from a thread of its own where the reader is slow, which holds up nobody; everything
/// written is kept until it is taken. A reader that went away, or a terminal, is not an error: what follows is dropped.
/// Any thread.
class OutputQueue {
public:
    explicit OutputQueue(int descriptor);
    /// Drops what has not been written.
    ~OutputQueue();

    void write(std::string bytes);
    /// Waits until all is written or the reader has gone; false when `limit` passed before.
    bool flush(Duration limit);
    /// Why something was not written, such as a full disk, for the user.
    std::optional<std::string> problem() const;

private:
    void run();
    bool writeAtOnce(std::string const& bytes) const;
    bool writeAll(std::string const& bytes);

    int m_descriptor;
    bool m_pipe = false;
    int m_wake[2] = {-1, -1}; ///< closed to end a write that waits for its reader
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::string> m_waiting; ///< the first is being written
    bool m_ended = false;
    bool m_broken = false;
    int m_error = 0; ///< of the system, when that broke it
    std::thread m_thread;
};

} // namespace lingrelay
