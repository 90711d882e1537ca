#pragma once

#include <mutex>
#include <string>
#include <utility>

namespace lingrelay {

/// Where the program connects to: fixed at build time, overridden by the stored keys "host.stt", "host.tts",
/// "host.api", "host.backend" and "host.translate", and set whole by the composition root (the local service, options).
/// An empty text means that nothing is known for it.
struct Hosts {
    std::string stt; ///< ws or wss; the protocol's own path is added when it has none
    std::string tts; ///< likewise
    std::string api; ///< http or https, with the version path
    std::string backend; ///< http or https; paths are appended
    std::string translate{}; ///< http or https; the public translation service that stands in for the backend

    /// The build's values under what the shared store overrides.
    static Hosts load();
    /// What the program uses now. Any thread.
    static Hosts shared();

    /// Whole addresses, with the path added where the text has none.
    std::string sttUrl() const;
    std::string ttsUrl() const;
};

/// The hosts of the moment: in the registry before engines start, and changed when the user enters a key. Any thread.
class HostsInUse {
public:
    explicit HostsInUse(Hosts hosts) : m_hosts(std::move(hosts)) { }

    Hosts now() const
    {
        std::lock_guard const lock(m_mutex);
        return m_hosts;
    }
    void use(Hosts hosts)
    {
        std::lock_guard const lock(m_mutex);
        m_hosts = std::move(hosts);
    }

private:
    mutable std::mutex m_mutex;
    Hosts m_hosts;
};

} // namespace lingrelay
