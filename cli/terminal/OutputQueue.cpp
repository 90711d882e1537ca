#include "cli/terminal/OutputQueue.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lingrelay {

OutputQueue::OutputQueue(int descriptor) : m_descriptor(descriptor)
{
    struct stat status { };
    m_pipe = ::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
    m_broken = ::pipe(m_wake) != 0;
    m_thread = std::thread([this] { run(); });
}

OutputQueue::~OutputQueue()
{
    {
        std::lock_guard const lock(m_mutex);
        m_ended = true;
    }
    m_changed.notify_all();
    ::close(m_wake[1]);
    m_thread.join();
    ::close(m_wake[0]);
}

void OutputQueue::write(std::string bytes)
{
    if (bytes.empty())
        return;
    {
        std::lock_guard const lock(m_mutex);
        if (m_broken || (m_waiting.empty() && writeAtOnce(bytes)))
            return;
        m_waiting.push_back(std::move(bytes));
    }
    m_changed.notify_all();
}

/// A pipe that polls as writable takes this much whole, without waiting and without waking another thread.
bool OutputQueue::writeAtOnce(std::string const& bytes) const
{
    pollfd wait{m_descriptor, POLLOUT, 0};
    return m_pipe && bytes.size() <= PIPE_BUF && ::poll(&wait, 1, 0) == 1 && wait.revents == POLLOUT
        && ::write(m_descriptor, bytes.data(), bytes.size()) > 0;
}

bool OutputQueue::flush(Duration limit)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, [this] { return m_waiting.empty() || m_broken; });
}

std::optional<std::string> OutputQueue::problem() const
{
    std::lock_guard const lock(m_mutex);
    if (m_error == 0)
        return {};
    return fmt::format("{}: {}", m_descriptor == STDOUT_FILENO ? "standard output" : "output", std::strerror(m_error));
}

void OutputQueue::run()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_ended || !m_waiting.empty(); });
        if (m_ended)
            return;
        auto const& bytes = m_waiting.front(); // stays in place while others append
        lock.unlock();
        errno = 0;
        bool const written = writeAll(bytes);
        auto const error = errno;
        lock.lock();
        m_waiting.pop_front();
        if (!written) {
            m_broken = true;
            m_error = m_ended || error == EPIPE || error == EIO ? 0 : error;
            m_waiting.clear();
        }
        m_changed.notify_all();
    }
}

bool OutputQueue::writeAll(std::string const& bytes)
{
    for (std::size_t done = 0; done < bytes.size();) {
        pollfd waits[] = {{m_descriptor, POLLOUT, 0}, {m_wake[0], POLLIN, 0}};
        if (::poll(waits, 2, -1) < 0 && errno != EINTR)
            return false;
        if (waits[1].revents != 0)
            return false;
        if (waits[0].revents == 0)
            continue;
        auto const count
            = ::write(m_descriptor, bytes.data() + done, std::min<std::size_t>(bytes.size() - done, PIPE_BUF));
        if (count > 0)
            done += static_cast<std::size_t>(count);
        else if (count < 0 && errno != EINTR && errno != EAGAIN)
            return false;
    }
    return true;
}

} // namespace lingrelay
