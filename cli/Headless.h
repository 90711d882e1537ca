#pragma once

#include "audio/AudioMuter.h"
#include "audio/AudioSource.h"
#include "audio/DriverInstaller.h"
#include "config/L10n.h"
#include "desktop/AppShell.h"
#include "desktop/OverlayWindow.h"
#include "desktop/PushToTalk.h"
#include "platform/AudioDevices.h"
#include "platform/AudioOutput.h"
#include "platform/Workspace.h"

// What stands in for a desktop where there is none: nothing to show, no devices, nobody to ask.

namespace lingrelay {

class NoShell final : public AppShell {
public:
    void buildMenu() override { }
    void setStatusItemVisible(bool) override { }
    void showMainWindow() override { }
    bool ask(std::string const&, std::string const&, std::string const&, std::string const&) override { return false; }
    void tearDownPresentations() override { }
    void terminate() override { }
    void exit() override { }
};

class NoKey final : public PushToTalk {
public:
    void setKey(std::string const&) override { }
    void start() override { }
    void stop() override { }
};

class NoWorkspace final : public Workspace {
public:
    bool mayHearSystemAudio() override { return true; }
    std::shared_ptr<void> watchFrontApplication(std::function<void(std::string const&)>) override { return {}; }
    void openAnotherInstance(std::function<void()>) override { }
};

class NoDevices final : public AudioDevices {
public:
    std::vector<AudioDevice> inputs() override { return {}; }
    std::vector<AudioDevice> outputs() override { return {}; }
    std::optional<std::uint32_t> defaultInput() override { return {}; }
    std::optional<std::uint32_t> defaultOutput() override { return {}; }
    void setDefaultInput(std::uint32_t) override { }
    std::optional<std::uint32_t> builtInInput() override { return {}; }
};

class NoOutputs final : public AudioOutputs {
public:
    std::unique_ptr<AudioOutput> open(std::optional<std::uint32_t>, AudioRenderer&) override { return {}; }
    std::shared_ptr<void> watchDefault(std::function<void()>) override { return {}; }
};

class NothingMuted : public SoundMuter {
public:
    std::variant<std::unique_ptr<Silence>, Failure> silence() override { return std::make_unique<Silence>(); }
};

class NoMuter final : private NothingMuted, public AudioMuter {
public:
    NoMuter() : AudioMuter(static_cast<SoundMuter&>(*this)) { }
};

class NothingInstalled : public VirtualMicrophone {
public:
    bool installed() const override { return false; }
    bool available() const override { return false; }
    bool install() override { return false; }
    bool remove() override { return true; }
};

class NoDriver final : private NothingInstalled, public DriverInstaller {
public:
    NoDriver() : DriverInstaller(static_cast<VirtualMicrophone&>(*this)) { }
};

class NoCapture final : public AudioSource {
public:
    void start() override { }
    void stop() override { }
};

/// Says at each start that nobody will be heard.
class NoMicrophone final : public Microphone {
public:
    void setInputDevice(std::optional<std::uint32_t>) override { }
    void setMuted(bool) override { }
    void start() override
    {
        onError(T("live sound is not built in yet; only the file is translated",
            "chưa hỗ trợ âm thanh trực tiếp; chỉ dịch tệp"));
    }
    void stop() override { }
};

} // namespace lingrelay
