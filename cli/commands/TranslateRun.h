#pragma once

#include "base/async/Lifetime.h"
#include "base/async/Task.h"
#include "cli/commands/Arguments.h"
#include "cli/commands/ClauseLog.h"
#include "cli/commands/RunPlan.h"
#include "cli/soundfiles/FileSource.h"
#include "cli/soundfiles/WavOutputs.h"
#include "cli/terminal/Presenter.h"
#include "program/Assembly.h"
#include "program/Headless.h"
#include "program/LocalService.h"
#include "sessions/SessionStore.h"
#include "speech/HostedSession.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// One run of the controller, from the first connection to the end event: left-over journals, the local service, then
/// what was asked for. A translation is a session whose sources are the machine's sound or a file, its captions and
/// lines to the presenter, the stop, the archive and the transcripts; a line of text is spoken without a session.
///
/// Main thread; the schedulers outlive it. `run` is awaited once, and all is written when it returns.
class TranslateRun {
public:
    struct Services {
        Scheduler& main;
        Assembly& assembly;
        Scheduler& sound; ///< feeds a file, writes a voice
        LocalService& localService;
        MachineSound machine;
        Presenter& presenter;
        Secrecy& secrecy;
    };
    /// With no file the machine's own sound is translated.
    TranslateRun(
        Services services, Arguments const& arguments, RunPlan plan, std::optional<SoundFile> file, Instant start);
    ~TranslateRun();

    Task<EndReason> run();
    /// The user's stop.
    void stop() { m_stop.set(); }
    /// What the user must be told beside the events, in order; lines without the program's name.
    std::vector<std::string> const& complaints() const { return m_complaints; }
    /// A file that was asked for could not be written.
    bool lostFiles() const { return m_lostFiles; }

private:
    /// The captions panel of a program without windows.
    class Overlay final : public OverlayWindow {
    public:
        explicit Overlay(TranslateRun& run) : m_run(run) { }
        void update(CaptionKind kind, std::string const& text) override;
        void showStatus(std::string const& text) override;
        void orderFrontRegardless() override { }
        void orderOut() override { }

    private:
        TranslateRun& m_run;
    };

    /// Nobody can be asked here: what to do is told instead.
    class Shell final : public NoShell {
    public:
        explicit Shell(TranslateRun& run) : m_run(run) { }
        bool ask(std::string const&, std::string const&, std::string const&, std::string const&) override;

    private:
        TranslateRun& m_run;
    };

    Task<EndReason> session();
    Task<std::optional<std::string>> connect();
    Task<EndReason> translate();
    Task<EndReason> translateFile();
    Task<EndReason> speakText();
    Task<void> playOut();
    Task<bool> speechFinished();
    Task<void> close(EndReason reason);

    void recover();
    void makeController();
    void prepare(AppDelegate& app);
    AudioOutputs& makeOutputs();
    void pickDevices();
    void observeModel();
    void openFile();
    void wireFeeder(FileFeeder& feeder);
    void wireEngine(Engine& engine, ClauseLog& clauses, Scheduler& pipeline);
    void refused(HostedSession::Failure const& failure);
    void archived(SessionStore::Session const& session, Result<std::filesystem::path> const& file);
    void noteStatus(Engine::Status status, std::string const& message);
    void speech(TTSPipeline::Job const& job, Instant heardAt, ClauseLog& clauses);
    void notice(std::string const& text);
    void showProgress();
    void status(AppModel::StatusKind kind, std::string const& text);
    void onMain(std::function<void()> job);
    void writeFiles();
    void complain(std::optional<Error> const& error);
    std::string clean(std::string text) { return m_services.secrecy.clean(std::move(text)); }
    std::shared_ptr<FileFeeder> feeder() const;
    AudioTarget const& target() const;
    Engine& mainEngine();
    bool speaks() const { return m_plan.direction == AppModel::Direction::speak; }

    Services m_services;
    Arguments const& m_arguments;
    RunPlan m_plan;
    std::optional<SoundFile> m_file; ///< until the feeder has it
    ClauseLog m_listenClauses;
    ClauseLog m_speakClauses;

    Overlay m_overlay{*this};
    Shell m_shell{*this};
    NoKey m_key;
    NoWorkspace m_workspace;
    NoSound m_noSound;
    FileCapture m_fileCapture;
    FileMic m_fileMic;
    std::unique_ptr<WavOutputs> m_outputs;
    AppDelegate* m_app = nullptr; ///< the assembly's, until it is over
    std::vector<Subscription> m_subscriptions;
    std::string m_lastLine; ///< id
    bool m_announced = false; ///< "connecting" was shown before the controller said it

    Scheduler::TimerId m_progressTimer = 0;
    Event m_stop;
    Event m_started;
    Event m_refused;
    Event m_fed;
    Event m_answered;
    Event m_failed;
    Event m_exhausted;
    SessionStore::Session m_session; ///< what the transcripts hold: as archived, or empty
    std::string m_archivedFile; ///< that the presenter was told of
    std::string m_exhaustedMessage;
    std::string m_lastError;
    std::string m_serviceError; ///< the service's own words, until it is well again
    std::vector<std::string> m_complaints;
    bool m_damagedFile = false;
    bool m_lostFiles = false;
    Lifetime m_lifetime; ///< of what callbacks post: it ends with the session
};

} // namespace lingrelay
