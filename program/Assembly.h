#pragma once

#include "audio/AudioCapture.h"
#include "audio/EchoGuard.h"
#include "audio/MicCapture.h"
#include "base/Registry.h"
#include "base/async/Task.h"
#include "config/Hosts.h"
#include "config/L10n.h"
#include "core/AppDelegate.h"
#include "core/FarEndEcho.h"
#include "net/Net.h"
#include "platform/Defaults.h"
#include "program/MachineSound.h"
#include "program/Secrecy.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace lingrelay {

/// The program within what surrounds it: the shared objects, the schedulers, the hosted session, the sources, the
/// engines and the controller, from their beginning to their orderly end. The window, the windowless program and the
/// fixture of the tests all are this, and hand it time, network, sound, windows and keys.
///
/// It comes up in four steps, since a program learns in this order what they need: the construction, `makeModel`,
/// `connect` and `begin`; and it goes down by `end`. Main; what it is handed outlives it.
class Assembly {
public:
    using MakeScheduler = std::function<std::unique_ptr<Scheduler>()>;

    struct Foundation {
        Scheduler& main;
        MakeScheduler makeScheduler; ///< for what may not be held up
        MakeScheduler makeDiskScheduler; ///< for what may wait for the disk
        Network& network;
        std::shared_ptr<Defaults> defaults;
        std::filesystem::path sessions; ///< the archive's folder
        std::shared_ptr<Secrecy> secrecy;
    };

    struct Surroundings {
        MachineSound sound;
        AudioOutputs& listenOutputs; ///< where the listen voice goes
        AudioOutputs& speakOutputs;
        OverlayWindow& overlay;
        AppShell& shell;
        PushToTalk& ptt;
        Workspace& workspace;
        AudioSource* capture = nullptr; ///< in the place of the machine's sound
        Microphone* mic = nullptr; ///< in the place of the machine's microphone
    };

    explicit Assembly(Foundation foundation);
    ~Assembly();

    /// The model, with the settings that the store holds by now.
    AppModel& makeModel();

    /// Where to connect to, and what identifies this program to a backend of its own. May be called again: what is
    /// opened from then on goes there.
    void connect(Hosts hosts, std::string const& clientToken);
    bool connected() const { return m_hosted != nullptr; }
    HostedSession& hosted() { return *m_hosted; }

    /// The controller, wired and ready for commands. `prepare` is called with it before it is wired, for what must be
    /// set first.
    AppDelegate& begin(Surroundings surroundings, std::function<void(AppDelegate&)> const& prepare = {});
    /// Null before `begin` and after `end`.
    AppDelegate* app() { return m_app.get(); }

    /// Ends the session that runs, with all that its streams have finished, and begins no other.
    Task<void> endSession();
    /// Ends the session, tells the backend, for which it has `reportLimit`, and takes everything down in its order.
    /// Nothing is left to be done when this returns.
    Task<void> end(Duration reportLimit);

    Registry& registry() { return m_registry; }
    Scheduler& listenStream() { return *m_listenStream; }
    Scheduler& listenPipeline() { return *m_listenPipeline; }
    Scheduler& speakStream() { return *m_speakStream; }
    Scheduler& speakPipeline() { return *m_speakPipeline; }
    Scheduler& background() { return *m_background; }

    /// Waits until the scheduler has done what it was given before.
    Task<void> settled(Scheduler& scheduler);

private:
    Task<void> quietStreams();
    Task<void> tellBackend(Duration limit);

    Foundation m_foundation;
    Registry m_registry;
    std::unique_ptr<Scheduler> m_listenStream;
    std::unique_ptr<Scheduler> m_listenPipeline;
    std::unique_ptr<Scheduler> m_speakStream;
    std::unique_ptr<Scheduler> m_speakPipeline;
    std::unique_ptr<Scheduler> m_background;
    HostsInUse* m_hosts = nullptr;
    HostedSession* m_hosted = nullptr;

    std::unique_ptr<AudioCapture> m_capture;
    std::unique_ptr<MicCapture> m_mic;
    std::unique_ptr<AudioMuter> m_muter;
    std::unique_ptr<DriverInstaller> m_driver;
    std::shared_ptr<AppDelegate> m_app;
};

} // namespace lingrelay
