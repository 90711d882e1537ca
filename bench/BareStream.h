#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>

namespace lingrelay::bench {

/// A stream as plain as the sound server's library has it, on a connection of its own. What it takes out of a server
/// or puts into one is the floor that the program's own streams are held against.
class BareStream {
public:
    enum class Kind { plays, records, recordsOutput };
    /// Who links it: the session manager, or others by hand, who may leave it unlinked.
    enum class Links { automatic, byHand };
    /// Where samples are handled: the server's real-time thread, or the stream's own, which may wait.
    enum class Thread { realTime, own };

    struct Plan {
        std::string name;
        Kind kind = Kind::plays;
        std::string target{}; ///< node name; empty: the default device
        Links links = Links::automatic;
        Thread thread = Thread::realTime;
        unsigned rate = 48000;
        unsigned channels = 1;
        std::string latency{}; ///< asked of the server, as a fraction of seconds; empty: nothing is
    };
    /// Interleaved samples, to be read or to be filled.
    using Process = std::function<void(std::span<float>)>;

    BareStream(Plan const& plan, Process process);
    ~BareStream();

    /// Samples in one step of the server at its own rate; 0 before sound flows.
    unsigned quantum() const;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace lingrelay::bench
