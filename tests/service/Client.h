#pragma once

#include "base/Json.h"
#include "base/Time.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace lingrelay::service {

/// The service as a process of its own, killed with this object.
class ServiceProcess {
public:
    explicit ServiceProcess(std::vector<std::string> const& options = {});
    ~ServiceProcess();
    ServiceProcess(ServiceProcess const&) = delete;
    ServiceProcess& operator=(ServiceProcess const&) = delete;

    std::string firstLine;
    std::uint16_t port = 0;
    std::string token;

    void signal(int number) const;
    /// The exit code once it has ended; -1 when it has not within `limit`, 128 and more after a signal.
    int waitForEnd(Duration limit = seconds(5));
    /// What it wrote to its standard error.
    std::string complaint() const;
    bool running() const;
    pid_t id() const { return m_process; }

private:
    pid_t m_process = -1;
    int m_output = -1;
    int m_errors = -1;
    std::optional<int> m_exit;
};

/// A WebSocket client that waits for one thing at a time.
class Client {
public:
    /// `bearer` empty: no header.
    Client(std::uint16_t port, std::string const& path, std::string const& bearer);
    ~Client();
    Client(Client&&) noexcept;
    Client& operator=(Client&&) noexcept;

    bool open() const;
    void text(std::string const& text);
    void send(Json const& message) { text(jsonText(message)); }
    void binary(std::string const& bytes);
    /// The next frame's text; nothing after the end of the connection, or when nothing came in time.
    std::optional<std::string> receive(Duration limit = seconds(10));
    /// The next frame as JSON; null in the same cases.
    Json message(Duration limit = seconds(10));
    /// Of the close frame, once receive() has given nothing; 0 without one.
    int closeCode() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// The status and the body of a POST; 0 when no answer comes before the end of the connection. `bearer` empty: no
/// header.
std::pair<int, std::string> post(
    std::uint16_t port, std::string const& path, std::string const& body, std::string const& bearer = {});

/// Sends bytes as they are and returns what comes back until the other side closes or a second passes.
std::string sendRaw(std::uint16_t port, std::string const& bytes);

} // namespace lingrelay::service
