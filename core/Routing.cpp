#include "core/Routing.h"

#include <algorithm>

namespace lingrelay {

namespace {

Routing::Device idOf(std::optional<AudioDevice> const& device)
{
    return device ? Routing::Device(device->id) : std::nullopt;
}

std::optional<AudioDevice> find(std::vector<AudioDevice> const& devices, Routing::Device id)
{
    auto const found
        = std::find_if(devices.begin(), devices.end(), [&](auto const& device) { return device.id == id; });
    return found == devices.end() ? std::nullopt : std::optional(*found);
}

bool isReal(AudioDevice const& device)
{
    return !AudioDevices::isVirtual(device) && device.name.find("Aggregate") == std::string::npos
        && !device.name.starts_with("CADefault");
}

} // namespace

void Routing::publish()
{
    auto& model = m_services.model;
    model.inputDevices = m_services.devices.inputs();
    model.outputDevices = m_services.devices.outputs();
    model.virtualInstalled = AudioDevices::virtualDevice(*model.outputDevices).has_value();
    model.micDeviceID = idOf(m_micDevice);
    model.speakDeviceID = idOf(m_speakDevice);
    model.listenOutDeviceID = idOf(m_listenDevice);
}

void Routing::pickMic(Device device)
{
    auto const inputs = m_services.devices.inputs();
    m_micDevice = find(inputs, device);
    auto const usual = m_savedDefaultInput ? m_savedDefaultInput : realMic(inputs);
    // The default input can be the virtual microphone while the user speaks.
    m_services.mic.setInputDevice(m_speaking && !m_micDevice ? usual : idOf(m_micDevice));
}

void Routing::pickListenOutput(Device device)
{
    auto const picked = find(m_services.devices.outputs(), device);
    if (picked && AudioDevices::isVirtual(*picked))
        return; // the listen voice never goes into the virtual microphone
    m_listenDevice = picked;
    m_services.listenPlayer.moveTo(idOf(picked));
}

void Routing::pickSpeakOutput(Device device)
{
    m_speakDevice = find(m_services.devices.outputs(), device);
    m_services.speakPlayer.moveTo(idOf(m_speakDevice));
}

bool Routing::pickVirtualOutput()
{
    auto const device = AudioDevices::virtualDevice(m_services.devices.outputs());
    if (!device)
        return false;
    m_speakDevice = device;
    m_services.speakPlayer.moveTo(device->id);
    return true;
}

void Routing::routeTyped()
{
    if (!m_speakDevice && !m_settings.forceTwoWay && pickVirtualOutput())
        publish();
}

void Routing::adoptPreset(Preset preset)
{
    m_speakDevice
        = preset == Preset::videoCall ? AudioDevices::virtualDevice(m_services.devices.outputs()) : std::nullopt;
    m_services.speakPlayer.moveTo(idOf(m_speakDevice));
    m_listenDevice.reset();
    m_services.listenPlayer.moveTo({});
}

void Routing::beginSpeaking()
{
    auto const inputs = m_services.devices.inputs();
    routeSpeech(m_services.devices.outputs());
    auto const mic = realMic(inputs);
    m_services.mic.setInputDevice(mic);
    switchDefaultInput(inputs, mic);
    m_speaking = true;
}

void Routing::endSpeaking()
{
    restoreDefaultInput();
    m_speaking = false;
}

void Routing::routeSpeech(std::vector<AudioDevice> const& outputs)
{
    auto const preset = presetFromRawValue(m_settings.preset);
    bool const intoCall = !m_settings.forceTwoWay && preset.value_or(Preset::videoCall) == Preset::videoCall;
    m_speakDevice = intoCall ? AudioDevices::virtualDevice(outputs) : std::nullopt;
    m_services.speakPlayer.setGatesMic(m_settings.forceTwoWay); // the speakers stand beside the microphone
    m_services.speakPlayer.moveTo(idOf(m_speakDevice));
}

void Routing::switchDefaultInput(std::vector<AudioDevice> const& inputs, Device realMic)
{
    auto const device = AudioDevices::virtualDevice(inputs);
    if (!m_settings.autoRouteMic || !device)
        return;
    m_savedDefaultInput = m_services.devices.defaultInput();
    // Left over from a crash, or the user's own doing: a stop must not bring it back.
    if (m_savedDefaultInput == device->id)
        m_savedDefaultInput = realMic;
    m_services.devices.setDefaultInput(device->id);
    m_didSwitchInput = true;
}

Routing::Device Routing::realMic(std::vector<AudioDevice> const& inputs) const
{
    if (m_micDevice && isReal(*m_micDevice))
        return m_micDevice->id;
    if (auto const current = find(inputs, m_services.devices.defaultInput()); current && isReal(*current))
        return current->id;
    if (auto const builtIn = m_services.devices.builtInInput())
        return builtIn;
    auto const first = std::find_if(inputs.begin(), inputs.end(), isReal);
    return first == inputs.end() ? std::nullopt : Device(first->id);
}

void Routing::restoreDefaultInput()
{
    if (!m_didSwitchInput || !m_savedDefaultInput)
        return;
    m_services.devices.setDefaultInput(*m_savedDefaultInput);
    m_didSwitchInput = false;
    m_savedDefaultInput.reset();
}

} // namespace lingrelay
