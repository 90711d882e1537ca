#pragma once

#include "base/async/Task.h"

#include <deque>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

namespace lingrelay {

/// A source of frames in the shape of a streaming connection, for tests of tasks.
class Frames {
public:
    void push(std::string frame)
    {
        m_queue.push_back(std::move(frame));
        m_arrived.set();
    }
    void fail()
    {
        m_failed = true;
        m_arrived.set();
    }

    /// The next frame. Throws std::runtime_error once the source has failed.
    Task<std::string> next()
    {
        while (m_queue.empty() && !m_failed) {
            m_arrived.reset();
            co_await m_arrived.wait();
        }
        if (m_queue.empty())
            throw std::runtime_error("lost");
        auto frame = std::move(m_queue.front());
        m_queue.pop_front();
        co_return frame;
    }

private:
    bool m_failed = false;
    std::deque<std::string> m_queue;
    Event m_arrived;
};

/// Writes frames down until cancelled, and "quiet" after every `quiet` without one.
inline Task<void> writeDown(Frames& frames, Duration quiet, std::function<void(std::string)> log)
{
    try {
        for (;;) {
            auto frame = co_await withTimeout(quiet, frames.next());
            log(frame ? "frame " + *frame : std::string("quiet"));
        }
    } catch (Cancelled) {
        log("cancelled");
        throw;
    } catch (std::exception const& error) {
        log(error.what());
    }
}

} // namespace lingrelay
