#pragma once

#include <string>

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
    /// What the program uses now; the composition root puts one into the registry before engines start. Any thread.
    static Hosts const& shared();

    /// Whole addresses, with the path added where the text has none.
    std::string sttUrl() const;
    std::string ttsUrl() const;
};

} // namespace lingrelay
