#pragma once

#include "audio/AudioMuter.h"
#include "audio/Meter.h"
#include "core/DriverOffer.h"
#include "core/Engine.h"
#include "core/HostedLease.h"
#include "core/Keeping.h"
#include "core/OneShots.h"
#include "core/Routing.h"
#include "core/StatusLine.h"
#include "core/TalkKey.h"
#include "platform/Workspace.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lingrelay {

/// The application object and the session controller: brings directions up and down, and passes news between sources,
/// engines, the model and the captions panel. What it decides by subject lies behind it: devices in Routing, the
/// hosted session in HostedLease, journal and archive in Keeping, the status in StatusLine, the hold key in TalkKey,
/// one-time features in OneShots.
///
/// Main, but for the listeners that it puts into sources and engines. Made by `create`; what `Services` refers to and
/// the shared objects outlive it. Before it dies: `shutdown`, then wait until it is `idle`.
class AppDelegate : public std::enable_shared_from_this<AppDelegate> {
public:
    struct Services {
        Scheduler& main;
        Engine::Services listen;
        Engine::Services speak;
        AudioSource& capture;
        Microphone& mic;
        AudioMuter& muter;
        AudioDevices& devices;
        DriverInstaller& driver;
        OverlayWindow& overlay;
        AppShell& shell;
        PushToTalk& ptt;
        Workspace& workspace;
        /// Takes secrets out of what services say, before anybody sees or keeps it; any thread.
        std::function<std::string(std::string)> clean = [](std::string text) { return text; };
    };

    static std::shared_ptr<AppDelegate> create(Services services);
    ~AppDelegate();

    /// Wires everything; once, before all else. Starts no session.
    void applicationDidFinishLaunching();
    void applicationShouldHandleReopen() { m_services.shell.showMainWindow(); }
    void applicationWillTerminate() { m_routing.restoreDefaultInput(); }
    bool applicationShouldTerminate();
    void quitNow();
    void restartApp();

    void startFromUI();
    /// Does nothing while a start waits for the backend: that session begins all the same.
    void stopFromUI();
    /// The provider of a hosted session is another one now: the session goes on there, with new keys and streams.
    void providerReplaced();
    /// Takes over the model's settings.
    void applyFromUI();
    void applyPreset(Preset preset);
    /// Makes the running directions match the mode.
    void applyMode();
    /// Gives the active profile to new streams; capture and queued speech go on.
    void restartStreamsForContext();

    void refreshDeviceLists() { m_routing.publish(); }
    void setMicDevice(Routing::Device device);
    void setListenDevice(Routing::Device device);
    void setSpeakDevice(Routing::Device device);

    bool running() const { return m_running; }
    Engine& listenEngine() { return *m_listenEngine; }
    Engine& speakEngine() { return *m_speakEngine; }
    OneShots& oneShots() { return m_oneShots; }
    Keeping& keeping() { return m_keeping; }

    /// Why a session could not do what the settings ask for, in words for the user; empty: it can. Asked at each start,
    /// which begins nothing then.
    std::function<std::string(AppSettings const& settings)> unable = [](auto const&) { return std::string(); };
    /// For a program without a window, which must tell how a session went; main, and set before the first start.
    std::function<void(HostedSession::Failure const& failure)> onRefused;
    std::function<void(std::string const& message)> onExhausted; ///< the session has been stopped

    /// Cancels what is done once and what waits for the backend; a hosted session that is just being opened is still
    /// given back.
    void shutdown();
    bool idle() const { return m_tasks.running() == 0 && m_oneShots.idle() && m_lease.idle(); }
    /// The backend gets no more time.
    void abandonBackend() { m_lease.shutdown(); }

private:
    using Kind = AppModel::StatusKind;
    using Direction = AppModel::Direction;

    explicit AppDelegate(Services services);

    void wireSources();
    void wireEngine(Engine& engine, Direction direction);
    void installCommands();
    void startTicking();
    void watchFrontApplication();
    void serviceTimeIsOver();

    void caption(Direction direction, CaptionKind kind, std::string const& text);
    void line(
        Direction direction, std::string const& source, std::string const& translation, std::string const& speaker);
    void showEngineStatus(Engine::Status status, std::optional<std::string> const& message);
    void troubleBegins(StatusLine::Trouble trouble, std::string const& message, StatusLine::Place place);
    void troubleIsOver(StatusLine::Trouble trouble);
    /// Runs a job on main unless the controller is gone by then; any thread.
    void onMain(std::function<void(AppDelegate&)> job);

    Task<void> startHosted();
    Task<void> joinAgain();
    void refuse(HostedSession::Failure failure);
    void beginRun();
    void startListen();
    void stopListen();
    void startSpeak();
    void stopSpeak();
    AppSettings listenRecord() const { return m_settings.listenRecord(AudioSource::sampleRate); }
    void adoptLanguageAndGuard();
    void publishRunState();
    void showPanel();

    Services m_services;
    AppModel& m_model;
    AppSettings m_settings;
    std::shared_ptr<Engine> m_listenEngine;
    std::shared_ptr<Engine> m_speakEngine;

    StatusLine m_status;
    Routing m_routing;
    DriverOffer m_driverOffer;
    TalkKey m_talkKey;
    Keeping m_keeping;
    HostedLease m_lease;
    OneShots m_oneShots;

    bool m_starting = false; ///< a start waits for the backend
    bool m_quitting = false;
    bool m_running = false;
    bool m_listenActive = false;
    bool m_speakActive = false;
    HostedLease::Hold m_session; ///< of the running session
    Instant m_startedAt; ///< of the running session, on the clock that never jumps
    Meter m_micMeter; ///< on the microphone's thread
    Meter m_sysMeter; ///< on the capture's thread
    Subscription m_transcriptWatch;
    std::shared_ptr<void> m_appWatch;
    Scheduler::TimerId m_tick = 0;
    Scheduler::TimerId m_exitBackstop = 0; ///< ends a program whose windows do not let it
    TaskGroup m_tasks;
};

} // namespace lingrelay
