// Which device each direction hears and speaks into.

#include "config/L10n.h"
#include "core/AppDelegate.h"

#include <algorithm>

namespace lingrelay {

namespace {

using Device = std::optional<std::uint32_t>;

constexpr Duration driverAppears = seconds(2.5); ///< after its installation

Device idOf(std::optional<AudioDevice> const& device) { return device ? Device(device->id) : std::nullopt; }

std::optional<AudioDevice> find(std::vector<AudioDevice> const& devices, Device id)
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

void AppDelegate::refreshDeviceLists()
{
    m_model.inputDevices = m_services.devices.inputs();
    m_model.outputDevices = m_services.devices.outputs();
    m_model.virtualInstalled = AudioDevices::virtualDevice(*m_model.outputDevices).has_value();
    m_model.micDeviceID = idOf(m_micDevice);
    m_model.speakDeviceID = idOf(m_speakDevice);
    m_model.listenOutDeviceID = idOf(m_ttsDevice);
}

void AppDelegate::setMicDevice(Device device)
{
    auto const inputs = m_services.devices.inputs();
    m_micDevice = find(inputs, device);
    auto const usual = m_savedDefaultInput ? m_savedDefaultInput : resolveRealMic(inputs);
    // The default input can be the virtual microphone while the user speaks.
    m_services.mic.setInputDevice(m_speakActive && !m_micDevice ? usual : idOf(m_micDevice));
    refreshDeviceLists();
    m_services.shell.buildMenu();
}

void AppDelegate::setListenDevice(Device device)
{
    auto const picked = find(m_services.devices.outputs(), device);
    if (picked && AudioDevices::isVirtual(*picked))
        return; // the listen voice never goes into the virtual microphone
    m_ttsDevice = picked;
    m_listenEngine->player().moveTo(idOf(picked));
    refreshDeviceLists();
    m_services.shell.buildMenu();
}

void AppDelegate::setSpeakDevice(Device device)
{
    m_speakDevice = find(m_services.devices.outputs(), device);
    m_speakEngine->player().moveTo(idOf(m_speakDevice));
    refreshDeviceLists();
    m_services.shell.buildMenu();
}

void AppDelegate::selectLingrelayOutput()
{
    auto const device = AudioDevices::virtualDevice(m_services.devices.outputs());
    if (!device)
        return;
    m_speakDevice = device;
    m_speakEngine->player().moveTo(device->id);
    m_services.shell.buildMenu();
}

/// A default output that is the virtual microphone would send the other side its own words back.
void AppDelegate::protectListener()
{
    if (m_ttsDevice)
        return;
    auto const outputs = m_services.devices.outputs();
    auto const current = find(outputs, m_services.devices.defaultOutput());
    if (!current || !AudioDevices::isVirtual(*current))
        return;
    auto const heard = std::find_if_not(outputs.begin(), outputs.end(), AudioDevices::isVirtual);
    if (heard != outputs.end())
        m_listenEngine->player().moveTo(heard->id);
}

void AppDelegate::routeSpeech(std::vector<AudioDevice> const& outputs)
{
    auto const preset = presetFromRawValue(m_settings.preset);
    bool const intoCall = !m_settings.forceTwoWay && preset.value_or(Preset::videoCall) == Preset::videoCall;
    m_speakDevice = intoCall ? AudioDevices::virtualDevice(outputs) : std::nullopt;
    auto& player = m_speakEngine->player();
    player.setGatesMic(m_settings.forceTwoWay); // the speakers stand beside the microphone
    player.moveTo(idOf(m_speakDevice));
}

void AppDelegate::routeMic(std::vector<AudioDevice> const& inputs, Device realMic)
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

Device AppDelegate::resolveRealMic(std::vector<AudioDevice> const& inputs) const
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

void AppDelegate::restoreDefaultInput()
{
    if (!m_didSwitchInput || !m_savedDefaultInput)
        return;
    m_services.devices.setDefaultInput(*m_savedDefaultInput);
    m_didSwitchInput = false;
    m_savedDefaultInput.reset();
}

void AppDelegate::ensureDriverIfNeeded()
{
    auto const& driver = m_services.driver;
    if (m_settings.mode == AppSettings::Mode::listen || driver.installed() || !driver.available())
        return;
    if (!m_services.shell.ask(L10n::t("driver.title"), L10n::t("driver.body"), L10n::t("install"), L10n::t("later")))
        return;
    if (!installDriver())
        return;
    m_services.overlay.orderFrontRegardless();
    auto& main = m_services.main;
    m_driverTimer = main.startTimer(main.now() + driverAppears, [weak = weak_from_this()] {
        if (auto const self = weak.lock())
            self->selectLingrelayOutput();
    });
}

bool AppDelegate::installDriver()
{
    bool const done = m_services.driver.install();
    m_services.overlay.showStatus(L10n::t(done ? "driver.done" : "driver.fail"));
    return done;
}

} // namespace lingrelay
