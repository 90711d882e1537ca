#pragma once

#include "base/async/Task.h"
#include "cli/Arguments.h"
#include "cli/ClauseLog.h"
#include "cli/FileFeeder.h"
#include "cli/LocalService.h"
#include "cli/Presenter.h"
#include "cli/RunPlan.h"
#include "cli/Secrecy.h"
#include "cli/WavOutputs.h"
#include "core/Engine.h"
#include "sessions/TranscriptForms.h"
#include "speech/HostedSession.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// One translation of a file, from the first connection to the end event: start of the local service and the hosted
/// session, one engine fed by the file, its captions and lines to the presenter, then the stop and the transcript.
///
/// Main thread; the schedulers outlive it. `run` is awaited once, and all is written when it returns.
class TranslateRun {
public:
    struct Services {
        Scheduler& main;
        Network& network;
        Scheduler& stream;
        Scheduler& pipeline;
        Scheduler& background;
        Scheduler& sound; ///< feeds the file and writes the voice
        LocalService& localService;
        Presenter& presenter;
    };
    /// What the composition root adds to the registry once it is known where to connect; main.
    using Connect = std::function<HostedSession&(Hosts const& hosts, std::string const& token)>;

    TranslateRun(
        Services services, Arguments const& arguments, RunPlan plan, SoundFile file, Instant start, Connect connect);
    ~TranslateRun();

    Task<EndReason> run();
    /// The user's stop.
    void stop() { m_stop.set(); }
    /// What the user must be told beside the events, in order; lines without the program's name.
    std::vector<std::string> const& complaints() const { return m_complaints; }
    /// A file that was asked for could not be written.
    bool lostFiles() const { return m_lostFiles; }

private:
    Task<EndReason> session();
    Task<std::optional<std::string>> connect();
    Task<std::optional<std::string>> startHosted();
    Task<EndReason> translate();
    Task<void> playOut();
    Task<void> close(EndReason reason);
    Task<void> endHosted(Duration limit);

    void makeEngine();
    void makeFeeder();
    void wireEngine();
    void engineStatus(std::string const& kind, std::optional<std::string> const& message);
    void engineCaption(std::string const& kind, std::string const& text);
    void engineLine(std::string const& source, std::string const& translation, std::string const& speaker);
    void engineSpeech(TTSPipeline::Job const& job, Instant heardAt);
    void showProgress();
    void status(AppModel::StatusKind kind, std::string const& text);
    void onMain(std::function<void()> job);
    void writeFiles();
    void complain(std::optional<Error> const& error);
    SessionRecord record() const;
    std::string clean(std::string text);

    class Target;

    Services m_services;
    Arguments const& m_arguments;
    RunPlan m_plan;
    std::optional<SoundFile> m_file; ///< until the feeder has it
    Connect m_connect;
    Secrecy m_secrecy;
    ClauseLog m_clauses;
    HostedSession* m_hosted = nullptr;
    std::string m_hostedKey; ///< the one that m_secrecy knows
    std::unique_ptr<WavOutputs> m_outputs;
    std::shared_ptr<Engine> m_engine;
    std::unique_ptr<Target> m_target;
    std::shared_ptr<FileFeeder> m_feeder;
    std::shared_ptr<bool> m_live; ///< jobs that engine callbacks post do nothing once this is gone
    Scheduler::TimerId m_progressTimer = 0;
    Event m_stop;
    Event m_fed;
    Event m_answered;
    Event m_failed;
    Event m_exhausted;
    std::optional<Date> m_startedAt;
    std::vector<AppModel::Line> m_lines;
    std::string m_lastError;
    std::string m_serviceError; ///< the service's own words, until it is well again
    std::vector<std::string> m_complaints;
    bool m_lostFiles = false;
};

} // namespace lingrelay
