#pragma once

#include "platform/linux/pipewire/PipeWireSound.h"
#include "tests/platform/pipewire/AudioMachine.h"
#include "tests/support/SoundServer.h"

#include <map>

namespace lingrelay {

/// The real implementation on a private sound server.
class PipeWireMachine final : public AudioMachine {
public:
    /// The program begins before the server, or when it runs.
    enum class Order { serverFirst, programFirst };
    explicit PipeWireMachine(Order order = Order::serverFirst);

    PipeWireSound::Places places() const;
    PipeWireSound& program() { return *m_sound; }
    void endProgram() { m_sound.reset(); }
    void startProgram() { m_sound = std::make_unique<PipeWireSound>(places()); }
    static std::string nodeOf(std::string const& device);

    MachineSound sound() override { return machineSound(*m_sound); }
    bool until(std::function<bool()> const& condition, double limit) override { return eventually(condition, limit); }
    std::shared_ptr<void> play(double frequency, std::string const& device) override;
    std::shared_ptr<void> sing(double frequency, std::string const& microphone) override;
    std::optional<double> played(double frequency, std::string const& output) override;
    void setDefaultOutput(std::string const& device) override;
    void unplug(std::string const& device) override;
    void plug(std::string const& device) override { server.plug(nodeOf(device)); }
    void stopServer() override;
    void startServer() override { server.start(); }

    SoundServer server;

private:
    std::map<std::string, std::unique_ptr<SoundServer::Listener>> m_listeners;
    std::unique_ptr<PipeWireSound> m_sound;
};

} // namespace lingrelay
