#pragma once

#include "platform/AudioDevices.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/pipewire/SwitchedInput.h"

#include <filesystem>
#include <functional>

namespace lingrelay {

/// The server's audio nodes as devices. An id stands for a node's name as long as the program runs, so a device that
/// goes away and comes back, with or without the server, is the same one. Any thread.
class PipeWireDevices final : public AudioDevices, private PipeWireConnection::Member {
public:
    struct Node {
        std::string name; ///< the server's
        int channels = 0;
    };

    /// `switchedInput`: where the default input that a session replaced is kept until it is put back.
    PipeWireDevices(PipeWireConnection& connection, SoundGuard& guard, std::filesystem::path const& switchedInput);
    ~PipeWireDevices() override;

    std::vector<AudioDevice> inputs() override;
    std::vector<AudioDevice> outputs() override;
    std::optional<std::uint32_t> defaultInput() override;
    std::optional<std::uint32_t> defaultOutput() override;
    void setDefaultInput(std::uint32_t device) override;
    std::optional<std::uint32_t> builtInInput() override;

    enum class Side { input, output };
    /// Tells the name of the node that a stream is to be linked to at the moment, empty for none; to be called under
    /// the connection's lock. Without a device that is the default, but never the virtual microphone: this program
    /// would hear itself there, or send a call what was said in it. An output then goes to the first other one.
    std::function<std::string()> linkedTo(Side side, std::optional<std::uint32_t> device);
    /// What to record from, or the default; nothing when it is not there.
    std::optional<Node> input(std::optional<std::uint32_t> device);
    /// What an earlier run left of the default input is put right, and no default input is on its way back.
    bool settled();

private:
    void connected() override;
    void changed() override;
    void tick() override { changed(); } ///< without a server, too
    void settle();
    std::vector<AudioDevice> list(Side side);
    int channels(PipeWireConnection::Object const& node, Side side) const;
    std::uint32_t idOf(std::string const& nodeName);
    std::string nameOf(std::uint32_t device) const;
    std::optional<std::uint32_t> listed(std::string const& nodeName, Side side);
    std::string followed(Side side);
    bool isVirtualNode(std::string const& nodeName) const;

    PipeWireConnection& m_connection;
    SwitchedInput m_switched;
    std::vector<std::string> m_names; ///< by id, from 1
    bool m_settled = false; ///< nothing that an earlier run left is still to be put right
    Instant m_since{}; ///< of the connection
};

} // namespace lingrelay
