#include "tests/platform/pipewire/PipeWireMachine.h"

namespace lingrelay {

PipeWireMachine::PipeWireMachine(Order order)
{
    if (order == Order::serverFirst)
        server.start();
    startProgram();
}

PipeWireSound::Places PipeWireMachine::places() const
{
    return {server.folder() + "/state/lingrelay/default-input.json", server.additions(), LINGRELAY_SOUND_GUARD};
}

std::string PipeWireMachine::nodeOf(std::string const& device)
{
    static std::map<std::string, std::string> const nodes{{speakers, SoundServer::speakers},
        {headset, SoundServer::headset}, {microphone, SoundServer::microphone},
        {secondMicrophone, SoundServer::secondMicrophone}, {duplex, SoundServer::duplex}, {"Lingrelay", "Lingrelay"}};
    return nodes.at(device);
}

std::shared_ptr<void> PipeWireMachine::play(double frequency, std::string const& device)
{
    return server.play({.frequency = frequency, .device = device.empty() ? "" : nodeOf(device)});
}

std::shared_ptr<void> PipeWireMachine::sing(double frequency, std::string const& microphone)
{
    return server.play({.frequency = frequency, .device = nodeOf(microphone) + "feed", .channels = 1});
}

std::optional<double> PipeWireMachine::played(double frequency, std::string const& output)
{
    auto& listener = m_listeners[output];
    if (!listener)
        listener = server.listen(nodeOf(output));
    return listener->level(frequency);
}

void PipeWireMachine::setDefaultOutput(std::string const& device)
{
    server.setDefault("default.configured.audio.sink", nodeOf(device));
}

void PipeWireMachine::unplug(std::string const& device)
{
    m_listeners.erase(device);
    server.unplug(nodeOf(device));
}

void PipeWireMachine::stopServer()
{
    m_listeners.clear();
    server.end(SoundServer::Part::pipewire);
    server.end(SoundServer::Part::sessionManager);
    server.end(SoundServer::Part::pulse);
}

std::unique_ptr<AudioMachine> AudioMachine::makePipeWire() { return std::make_unique<PipeWireMachine>(); }

} // namespace lingrelay
