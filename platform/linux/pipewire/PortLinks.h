#pragma once

#include "platform/linux/pipewire/PipeWireConnection.h"

#include <map>
#include <utility>
#include <vector>

namespace lingrelay {

/// Links between ports that this program makes itself, and that no session manager moves. On the loop.
class PortLinks {
public:
    using Ends = std::pair<std::uint32_t, std::uint32_t>; ///< ids of the port that gives and the one that takes
    /// Whether a link keeps its ends running when they would rest.
    enum class Demand { active, passive };

    PortLinks(PipeWireConnection& connection, Demand demand);
    ~PortLinks();
    PortLinks(PortLinks const&) = delete;
    PortLinks& operator=(PortLinks const&) = delete;

    /// Makes the links that are missing and ends all others. To be called again and again: a link that could not be
    /// made, or was taken away, is made again after a moment.
    void keep(std::vector<Ends> const& wanted);
    void clear();
    /// There are links, and the server has made them all.
    bool complete() const;

private:
    class Link;

    PipeWireConnection& m_connection;
    Demand m_demand;
    std::map<Ends, std::unique_ptr<Link>> m_links;
};

} // namespace lingrelay
