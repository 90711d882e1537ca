#pragma once

#include "platform/VirtualMicrophone.h"
#include "platform/linux/pipewire/PipeWireConnection.h"

#include <filesystem>
#include <set>
#include <string>

namespace lingrelay {

/// The virtual microphone as a file among the user's own additions to the server's configuration, for every start to
/// come, and as two nodes with links that stay in the running server without any process, until then.
class PipeWireVirtualMicrophone final : public VirtualMicrophone, private PipeWireConnection::Member {
public:
    /// `additions` is the folder that the server reads at its start.
    PipeWireVirtualMicrophone(PipeWireConnection& connection, std::filesystem::path const& additions);
    ~PipeWireVirtualMicrophone() override;

    bool installed() const override;
    bool available() const override { return true; }
    bool install() override;
    bool remove() override;

private:
    bool writeFile() const;
    bool makeNodes();
    pw_proxy* makeNode(char const* name, char const* mediaClass);
    pw_proxy* makeLink(std::uint32_t from, std::uint32_t to);
    void release(std::vector<pw_proxy*> const& objects, int generation) const;
    std::uint32_t port(char const* node, std::string_view direction, std::string_view channel) const;
    bool present() const;
    bool linked() const;
    void destroyNodes() const;
    void destroyLateNodes();
    bool waitUntilGone() const;
    void disconnected() override { m_late.clear(); }
    void changed() override { destroyLateNodes(); }

    PipeWireConnection& m_connection;
    std::filesystem::path m_file;
    std::set<std::string> m_late; ///< nodes that did not come up in time, and can still come
};

} // namespace lingrelay
