#include "cli/commands/TranslateCommand.h"

#include "base/UserFolders.h"
#include "cli/commands/Paths.h"
#include "cli/commands/RunPlan.h"
#include "cli/commands/TranslateRun.h"
#include "cli/terminal/Presenter.h"
#include "cli/terminal/Replies.h"
#include "platform/linux/AsioNetwork.h"
#include "platform/linux/AsioScheduler.h"
#include "platform/linux/pipewire/PipeWireSound.h"
#include "program/Assembly.h"
#include "program/SignalWatch.h"
#include "sessions/SessionStore.h"

#include <cstdio>
#include <thread>

#include <unistd.h>

namespace lingrelay {

namespace {

/// How long a slow reader of our output is waited for after the user's stop.
constexpr Duration stopFlush = seconds(0.3);
constexpr Duration finishFlush = std::chrono::hours(24);
/// What remains then is to say goodbye to other parties; it must not hold up the user.
constexpr auto goodbyeLimit = std::chrono::milliseconds(1000);

std::unique_ptr<Presenter> makePresenter(
    Arguments const& arguments, OutputQueue& output, OutputQueue& notices, Scheduler& main, Instant start)
{
    if (arguments.events == Arguments::Events::json)
        return std::make_unique<EventWriter>(output, main, start);
    auto const terminal = environment("TERM");
    if (!::isatty(STDOUT_FILENO) || terminal.empty() || terminal == "dumb")
        return std::make_unique<PlainPresenter>(output, notices);
    auto const colours = environment("NO_COLOR").empty() ? TerminalView::Colours::ansi : TerminalView::Colours::none;
    return std::make_unique<TerminalPresenter>(output, STDOUT_FILENO, colours);
}

/// The program for the length of one run. Members go down in the opposite order.
class Program {
public:
    Program(Arguments const& arguments, Instant start, std::optional<MachineSound> machine)
        : m_arguments(arguments)
        , m_given(machine)
        , m_start(start)
        , m_presenter(makePresenter(arguments, m_output, m_notices, m_main, start))
        , m_defaults(std::make_shared<OverlaidDefaults>(openDefaults(arguments), arguments.settings))
    {
    }

    ~Program()
    {
        m_disk.stop();
        m_run.reset();
    }

    int run()
    {
        auto plan = RunPlan::make(m_arguments);
        if (!plan)
            return badArguments(plan.error().message);
        std::optional<SoundFile> file;
        if (m_arguments.input) {
            auto opened = SoundFile::open(*m_arguments.input, [this] { return m_stopping.load(); });
            if (!opened && m_stopping)
                return stoppedEarly();
            if (!opened)
                return badArguments(opened.error().message);
            file.emplace(std::move(*opened));
        }
        m_defaults->hold(plan->settings);
        m_assembly.makeModel();
        translate(std::move(*plan), std::move(file));
        for (auto const& message : m_run->report().complaints())
            complain(message);
        flushOutput();
        m_notices.flush(stopFlush);
        if (auto const problem = m_output.problem())
            return failed(*problem);
        bool const good
            = m_reason != EndReason::failed && m_reason != EndReason::refused && !m_run->report().lostFiles();
        return good ? exitDone : exitFailed;
    }

private:
    /// While the sound was still coming out of a pipe.
    int stoppedEarly()
    {
        m_presenter->end(EndReason::stopped);
        m_output.flush(stopFlush);
        return exitDone;
    }

    void translate(RunPlan plan, std::optional<SoundFile> file)
    {
        if (plan.usesDevices() && !m_given)
            m_machine = std::make_unique<PipeWireSound>();
        m_run = std::make_unique<TranslateRun>(
            TranslateRun::Services{m_main, m_assembly, *m_sound, m_localService,
                m_machine ? machineSound(*m_machine) : m_given.value_or(m_noSound.parts()), *m_presenter, *m_secrecy},
            m_arguments, std::move(plan), std::move(file), m_start);
        TaskGroup tasks(m_main);
        tasks.spawn(runToEnd());
        m_main.run();
    }

    Task<void> runToEnd()
    {
        m_reason = co_await m_run->run();
        m_main.post([this] { m_main.quit(); });
    }

    /// However long a reader takes, unless the user has had enough.
    void flushOutput()
    {
        for (auto left = finishFlush; left > Duration::zero(); left -= stopFlush) {
            if (m_output.flush(stopFlush) || m_stopping)
                return;
        }
    }

    void stop()
    {
        m_stopping = true;
        m_main.post([this] {
            if (m_run)
                m_run->stop();
        });
    }

    std::shared_ptr<Secrecy> m_secrecy = openLog();
    Arguments const& m_arguments;
    std::optional<MachineSound> m_given; ///< in the place of the sound server
    Instant m_start;
    std::atomic<bool> m_stopping = false;
    AsioMainLoop m_main;
    SignalWatch m_signals{[this] { stop(); }, [this] { m_main.post([this] { m_presenter->resized(); }); }};
    OutputQueue m_output{STDOUT_FILENO};
    OutputQueue m_notices{STDERR_FILENO};
    std::unique_ptr<Presenter> m_presenter;
    AsioRuntime m_disk{AsioRuntime::Jobs::mayBlock}; ///< waits for the disk, which sockets must not
    AsioNetwork m_network{m_main.runtime()};
    std::shared_ptr<OverlaidDefaults> m_defaults;
    LocalService m_localService{m_main};
    NoSound m_noSound;
    std::unique_ptr<PipeWireSound> m_machine;
    Assembly m_assembly{{
        .main = m_main,
        .makeScheduler = [this] { return m_main.runtime().makeScheduler(); },
        .makeDiskScheduler = [this] { return m_disk.makeScheduler(); },
        .network = m_network,
        .defaults = m_defaults,
        .sessions = m_arguments.sessions.value_or(SessionStore::defaultFolder()),
        .secrecy = m_secrecy,
    }};
    std::unique_ptr<Scheduler> m_sound = m_main.runtime().makeScheduler();
    std::unique_ptr<TranslateRun> m_run;
    EndReason m_reason = EndReason::stopped;
};

} // namespace

int translateCommand(Arguments const& arguments, Instant start, std::optional<MachineSound> machine)
{
    auto program = std::make_unique<Program>(arguments, start, machine);
    int const code = program->run();
    std::thread([code] {
        std::this_thread::sleep_for(goodbyeLimit);
        ::_exit(code);
    }).detach();
    program.reset();
    return code;
}

} // namespace lingrelay
