#pragma once

#include "audio/AudioMuter.h"
#include "audio/AudioSource.h"
#include "audio/DriverInstaller.h"
#include "audio/Meter.h"
#include "core/Engine.h"
#include "model/AppModel.h"
#include "desktop/AppShell.h"
#include "desktop/OverlayWindow.h"
#include "desktop/PushToTalk.h"
#include "platform/AudioDevices.h"
#include "platform/Workspace.h"
#include "sessions/Journal.h"
#include "sessions/SessionStore.h"
#include "speech/HostedSession.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lingrelay {

/// The application object and the session controller: brings directions up and down, wires sound, text and status to
/// the model and the captions panel, and gives back what it changed.
///
/// Main, but for the callbacks that it puts into sources and engines. Made by `create`; what `Services` refers to and
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
    };

    static std::shared_ptr<AppDelegate> create(Services services);
    ~AppDelegate();

    /// Wires everything; once, before all else. Starts no session.
    void applicationDidFinishLaunching();
    void applicationShouldHandleReopen() { m_services.shell.showMainWindow(); }
    void applicationWillTerminate() { restoreDefaultInput(); }
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

    void refreshDeviceLists();
    void setMicDevice(std::optional<std::uint32_t> device);
    void setListenDevice(std::optional<std::uint32_t> device);
    void setSpeakDevice(std::optional<std::uint32_t> device);
    void selectLingrelayOutput();

    /// What happens to a line when the user and the other side speak the same language.
    enum class OneLanguage { translated, asItIs };
    /// Speaks a line of the user's, translated, where the other side hears it; logged and captioned.
    void typeToSpeak(std::string text, OneLanguage oneLanguage);
    /// Speaks the last line again where only the user hears it, or both do who share one machine.
    void replayLast();
    /// A recap of what was said in the last `span`, into the model's `quickSummary`.
    void summarizeRecent(Duration span);
    /// Speaks a sentence where the translation will go. `done` is called in every case.
    void testVoice(std::function<void()> done);

    bool running() const { return m_running; }
    Engine& listenEngine() { return *m_listenEngine; }
    Engine& speakEngine() { return *m_speakEngine; }

    /// Takes secrets out of what services say, before anybody sees or keeps it; any thread.
    std::function<std::string(std::string)> clean = [](std::string text) { return text; };

    /// For a program without a window, which must tell how a session went; main, and set before the first start.
    std::function<void(HostedSession::Failure const& failure)> onRefused;
    std::function<void(std::string const& message)> onExhausted; ///< the session has been stopped
    /// A session that was not empty, and its file or why there is none.
    std::function<void(SessionStore::Session const& session, Result<std::filesystem::path> const& file)> onArchived;

    /// Cancels what waits for the backend.
    void shutdown();
    bool idle() const { return m_tasks.running() == 0; }

private:
    using Kind = AppModel::StatusKind;

    explicit AppDelegate(Services services);

    void wireSources();
    void wireEngine(Engine& engine, AppModel::Direction direction);
    void caption(AppModel::Direction direction, std::string const& kind, std::string const& text);
    void installCommands();
    void startTicking();
    void startAppWatcher();
    void onMain(std::function<void(AppDelegate&)> job);

    void publishRunState();
    void publishStatus(std::string const& text, AppModel::StatusKind kind);
    void showEngineStatus(std::string const& kind, std::optional<std::string> const& message);
    void tellTrouble(std::string& trouble, std::string const& message);
    void troubleIsOver(std::string& trouble);
    void showPanel();

    Task<void> startHosted();
    Task<void> joinAgain();
    void beginRun();
    void startListen();
    void stopListen();
    void startSpeak();
    void stopSpeak();
    AppSettings listenRecord() const { return m_settings.listenRecord(AudioSource::sampleRate); }
    void adoptLanguageAndGuard();
    void configurePushToTalk();

    void protectListener();
    void routeSpeech(std::vector<AudioDevice> const& outputs);
    void routeMic(std::vector<AudioDevice> const& inputs, std::optional<std::uint32_t> realMic);
    std::optional<std::uint32_t> resolveRealMic(std::vector<AudioDevice> const& inputs) const;
    void restoreDefaultInput();
    void ensureDriverIfNeeded();
    bool installDriver();

    Task<void> speakTyped(std::string text, OneLanguage oneLanguage);
    Task<void> speakTest(std::function<void()> done);
    Task<void> recap(std::string text);
    struct OneShotSpeech {
        std::string text;
        std::string language;
        Kind failureKind = Kind::warning;
        std::string failurePrefix{};
    };
    Task<void> speakOnce(OneShotSpeech speech, Engine& engine);
    Task<void> stream(OneShotSpeech speech, std::weak_ptr<Engine> engine);

    SessionStore::Session session() const;
    static std::string notSaved(Error const& error);
    std::optional<Error> beginJournal();
    void describeSession();
    void keepTranscript(std::vector<AppModel::Line> const& lines);
    std::optional<Error> archiveSession();

    Services m_services;
    AppModel& m_model;
    std::shared_ptr<Engine> m_listenEngine;
    std::shared_ptr<Engine> m_speakEngine;
    AppSettings m_settings;
    bool m_starting = false;
    bool m_quitting = false;
    int m_typed = 0; ///< lines that are being translated and spoken
    int m_oneShots = 0; ///< that are being spoken
    bool m_oneShotSession = false; ///< opened for them alone
    bool m_oneShotOpens = false; ///< that session, at this moment
    Event m_oneShotOpened;
    bool m_running = false;
    bool m_listenActive = false;
    bool m_speakActive = false;
    std::optional<AudioDevice> m_ttsDevice; ///< the user's picks; nothing means automatic
    std::optional<AudioDevice> m_speakDevice;
    std::optional<AudioDevice> m_micDevice;
    std::optional<std::uint32_t> m_savedDefaultInput;
    bool m_didSwitchInput = false;
    Meter m_micMeter; ///< on the microphone's thread
    Meter m_sysMeter; ///< on the capture's thread
    std::unique_ptr<Journal> m_journal; ///< of the running session; none when its file could not be made yet
    struct EngineStatus {
        std::string text;
        Kind kind = Kind::idle;
    };
    EngineStatus m_engineStatus; ///< what the streams said last
    std::string m_soundTrouble; ///< that stands in the status, or stood there last; empty when it is over
    std::string m_keepingTrouble; ///< likewise
    Subscription m_transcriptWatch;
    std::shared_ptr<void> m_appWatch;
    Scheduler::TimerId m_tick = 0;
    Scheduler::TimerId m_driverTimer = 0;
    TaskGroup m_tasks;
};

} // namespace lingrelay
