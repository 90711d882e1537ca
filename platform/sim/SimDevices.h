#pragma once

#include "platform/AudioDevices.h"
#include "platform/Workspace.h"

#include <map>

namespace lingrelay {

/// Devices that a test lists.
class SimAudioDevices final : public AudioDevices {
public:
    std::vector<AudioDevice> inputList;
    std::vector<AudioDevice> outputList;
    std::optional<std::uint32_t> input; ///< the defaults
    std::optional<std::uint32_t> output;
    std::optional<std::uint32_t> builtIn;

    std::vector<AudioDevice> inputs() override { return inputList; }
    std::vector<AudioDevice> outputs() override { return outputList; }
    std::optional<std::uint32_t> defaultInput() override { return input; }
    std::optional<std::uint32_t> defaultOutput() override { return output; }
    void setDefaultInput(std::uint32_t device) override { input = device; }
    std::optional<std::uint32_t> builtInInput() override { return builtIn; }
};

/// A desktop on which a test brings applications to the front.
class SimWorkspace final : public Workspace {
public:
    bool mayHear = true;
    int instances = 0; ///< of this program that were started

    bool mayHearSystemAudio() override { return mayHear; }
    std::shared_ptr<void> watchFrontApplication(std::function<void(std::string const&)> changed) override
    {
        m_watcher = std::make_shared<std::function<void(std::string const&)>>(std::move(changed));
        return m_watcher;
    }
    void openAnotherInstance(std::function<void()> done) override
    {
        ++instances;
        done();
    }
    void bringToFront(std::string const& application) const
    {
        if (m_watcher)
            (*m_watcher)(application);
    }

private:
    std::shared_ptr<std::function<void(std::string const&)>> m_watcher;
};

} // namespace lingrelay
