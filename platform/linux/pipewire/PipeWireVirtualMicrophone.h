#pragma once

#include "platform/VirtualMicrophone.h"
#include "platform/linux/pipewire/PipeWireConnection.h"

#include <filesystem>

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
    bool waitUntilGone() const;
    void disconnected() override { m_abandoned = false; }
    void changed() override;

    PipeWireConnection& m_connection;
    std::filesystem::path m_file;
    bool m_abandoned = false; ///< a pair that did not come up in time can still come
};

} // namespace lingrelay
