#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// One audio device of the machine. The id means something on the running machine only and is never stored.
struct AudioDevice {
    std::uint32_t id = 0;
    std::string name; ///< as the user sees it

    bool operator==(AudioDevice const&) const = default;
};

/// The machine's audio devices and its defaults; main. Everything fails soft: what cannot be read is not listed.
class AudioDevices {
public:
    virtual ~AudioDevices() = default;

    /// In the order the system lists them; a device that does both is in both lists with one id.
    virtual std::vector<AudioDevice> inputs() = 0;
    virtual std::vector<AudioDevice> outputs() = 0;
    virtual std::optional<std::uint32_t> defaultInput() = 0;
    virtual std::optional<std::uint32_t> defaultOutput() = 0;
    /// Asks for it; the system follows in its own time, and `defaultInput` tells.
    virtual void setDefaultInput(std::uint32_t device) = 0;
    /// The first input that is part of the machine.
    virtual std::optional<std::uint32_t> builtInInput() = 0;

    /// The program's own virtual microphone is known by its name alone, among inputs and outputs alike.
    static bool isVirtual(AudioDevice const& device) { return device.name.starts_with("Lingrelay"); }
    static std::optional<AudioDevice> virtualDevice(std::vector<AudioDevice> const& devices);
};

} // namespace lingrelay
