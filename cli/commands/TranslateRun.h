#pragma once

#include "base/async/Lifetime.h"
#include "base/async/Task.h"
#include "cli/commands/Arguments.h"
#include "cli/commands/RunPlan.h"
#include "cli/commands/RunReport.h"
#include "cli/soundfiles/FileSource.h"
#include "cli/soundfiles/WavOutputs.h"
#include "cli/terminal/Presenter.h"
#include "program/Assembly.h"
#include "program/Headless.h"
#include "program/LocalService.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// One run of the controller, from the first connection to the end event: left-over journals, the local service, then
/// what was asked for. A translation is a session whose sources are the machine's sound or a file, with its stop and
/// its archive; a line of text is spoken without a session. What is told of it is the report's.
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
    RunReport const& report() const { return m_report; }

private:
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
    void awaitStart();
    void openFile();
    void wireFeeder(FileFeeder& feeder);
    void showProgress();
    void onMain(std::function<void()> job);
    void explain(EndReason reason);
    std::shared_ptr<FileFeeder> feeder() const;
    AudioTarget const& target() const;
    Engine& mainEngine();
    bool speaks() const { return m_plan.direction == AppModel::Direction::speak; }

    Services m_services;
    Arguments const& m_arguments;
    RunPlan m_plan;
    std::optional<SoundFile> m_file; ///< until the feeder has it
    RunReport m_report;

    NoKey m_key;
    NoWorkspace m_workspace;
    NoSound m_noSound;
    FileCapture m_fileCapture;
    FileMic m_fileMic;
    std::unique_ptr<WavOutputs> m_outputs;
    AppDelegate* m_app = nullptr; ///< the assembly's, until it is over
    Subscription m_starting;

    Scheduler::TimerId m_progressTimer = 0;
    Event m_stop;
    Event m_started;
    Event m_refused;
    Event m_fed;
    Event m_answered;
    Event m_failed;
    Event m_exhausted;
    std::string m_exhaustedMessage;
    bool m_damagedFile = false;
    Lifetime m_lifetime; ///< of what callbacks post: it ends with the session
};

} // namespace lingrelay
