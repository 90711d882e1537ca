#include "cli/commands/TranslateRun.h"

#include "base/Uuid.h"
#include "base/async/OneShot.h"
#include "config/KeyStore.h"
#include "config/L10n.h"

namespace lingrelay {

namespace {

using Kind = AppModel::StatusKind;

constexpr Duration playOutLimit = seconds(60.0);
constexpr Duration playOutPoll = seconds(0.02);
/// What the player has handed over is heard a little later.
constexpr Duration lastSound = seconds(0.3);
constexpr Duration openPoll = seconds(0.02);
/// How long the last report to the backend may take; the user's stop is to be over in three seconds.
constexpr Duration endLimit = seconds(5.0);
constexpr Duration stopLimit = seconds(1.0);

} // namespace

TranslateRun::TranslateRun(
    Services services, Arguments const& arguments, RunPlan plan, std::optional<SoundFile> file, Instant start)
    : m_services(services)
    , m_arguments(arguments)
    , m_plan(std::move(plan))
    , m_file(std::move(file))
    , m_report(services.main, services.presenter, services.secrecy, arguments, start)
    , m_fileCapture(services.sound)
    , m_fileMic(services.sound)
{
    m_services.secrecy.add(Secrets::key());
}

TranslateRun::~TranslateRun() = default;

Task<EndReason> TranslateRun::run()
{
    auto const outcome = co_await race(session(), waitFor(m_stop));
    auto const reason = outcome.index() == 0 ? std::get<0>(outcome) : EndReason::stopped;
    co_await close(reason);
    m_services.presenter.end(reason);
    co_return reason;
}

Task<EndReason> TranslateRun::session()
{
    if (m_plan.localService) // its start takes a moment
        m_report.announceConnecting();
    bool const translates = m_arguments.action == Arguments::Action::translate;
    if (translates)
        recover();
    if (auto const problem = co_await connect()) {
        m_services.presenter.status(Kind::warning, m_report.clean(*problem));
        co_return EndReason::refused;
    }
    makeController();
    if (!translates)
        co_return co_await speakText();
    m_app->startFromUI();
    auto const starting = co_await race(waitFor(m_started), waitFor(m_refused));
    if (starting.index() != 0)
        co_return EndReason::refused;
    co_return co_await translate();
}

/// Sessions that a crash or a power cut left unfinished.
void TranslateRun::recover()
{
    for (auto const& file : Journal::recover(SessionStore::shared(), &m_services.assembly.background())) {
        m_services.presenter.recovered(file.string());
        m_report.complain("a session that was cut short has been kept: " + file.string());
    }
}

/// Starts the local service when one is needed. What went wrong, for the status line.
Task<std::optional<std::string>> TranslateRun::connect()
{
    LocalService::Address local;
    if (m_plan.localService) {
        OneShot<Result<LocalService::Address>> started;
        m_services.localService.start(
            [started](Result<LocalService::Address> result) { started.set(std::move(result)); });
        auto const result = co_await started.take();
        if (!result) {
            m_report.complain(result.error().message);
            co_return result.error().message;
        }
        local = *result;
        if (auto const problem = m_plan.localProblem(local); !problem.empty()) {
            m_report.complain(problem);
            co_return problem;
        }
    }
    m_services.assembly.connect(m_plan.hostsWith(local.hosts), local.token);
    co_return std::nullopt;
}

/// Where the main direction's voice goes.
AudioOutputs& TranslateRun::makeOutputs()
{
    if (m_plan.output == Arguments::Output::device)
        return m_services.machine.outputs;
    if (m_plan.output == Arguments::Output::none || !m_plan.settings.tts)
        return m_noSound.outputs();
    std::optional<WavFile> wav;
    auto created = WavFile::create(m_arguments.outputFile, WavOutputs::rate);
    if (created)
        wav.emplace(std::move(*created));
    else
        m_report.lose(created.error());
    m_outputs = std::make_unique<WavOutputs>(m_services.sound, std::move(wav), m_arguments.pace);
    return *m_outputs;
}

void TranslateRun::makeController()
{
    auto& machine = m_services.machine;
    auto& outputs = makeOutputs();
    bool const fromFile = m_file.has_value();
    Assembly::Surroundings const surroundings{
        .sound = machine,
        .listenOutputs = speaks() ? machine.outputs : outputs,
        .speakOutputs = speaks() ? outputs : machine.outputs,
        .overlay = m_report.overlay(),
        .shell = m_report.shell(),
        .ptt = m_key,
        .workspace = m_workspace,
        .capture = fromFile && !speaks() ? &m_fileCapture : nullptr,
        .mic = fromFile && speaks() ? &m_fileMic : nullptr,
    };
    auto& assembly = m_services.assembly;
    assembly.begin(surroundings, [this](AppDelegate& app) { prepare(app); });
    pickDevices();
    m_report.observe(m_app->listenEngine(), AppModel::Direction::listen, assembly.listenPipeline());
    m_report.observe(m_app->speakEngine(), AppModel::Direction::speak, assembly.speakPipeline());
    for (auto* engine : {&m_app->listenEngine(), &m_app->speakEngine()})
        engine->onFailed = [this] { onMain([this] { m_failed.set(); }); };
    if (fromFile)
        openFile();
}

/// What must stand before the controller begins to speak.
void TranslateRun::prepare(AppDelegate& app)
{
    m_app = &app;
    auto& engine = mainEngine();
    engine.voiceless = m_plan.output == Arguments::Output::none;
    if (m_outputs)
        m_outputs->queuedSeconds = [weak = engine.weak_from_this()] {
            auto const alive = weak.lock();
            return alive ? alive->player().queuedSeconds() : 0;
        };
    m_report.observeModel();
    awaitStart();
    app.onRefused = [this](HostedSession::Failure const& failure) {
        m_report.refused(failure);
        m_refused.set();
    };
    app.onExhausted = [this](std::string const& message) {
        m_exhaustedMessage = message;
        m_exhausted.set();
    };
    app.keeping().onArchived = [this](SessionStore::Session const& session, Result<std::filesystem::path> const& file) {
        m_report.archived(session, file);
    };
}

void TranslateRun::pickDevices()
{
    auto const pick = [this](std::string const& name, std::vector<AudioDevice> const& devices, auto const& command) {
        if (name.empty())
            return;
        auto const found = std::find_if(
            devices.begin(), devices.end(), [&](AudioDevice const& device) { return device.name == name; });
        if (found == devices.end())
            return m_report.notice(fmt::format("there is no device \"{}\"; see lingrelay-cli devices", name));
        command(found->id);
    };
    auto& model = AppModel::shared();
    pick(m_arguments.mic, *model.inputDevices, model.commands.pickMic);
    if (AudioDevices::isVirtual({0, m_arguments.speakers}))
        return m_report.notice(
            fmt::format("\"{}\" is the microphone for calls, not for what you listen to: the translation is "
                        "played by the default output",
                m_arguments.speakers));
    pick(m_arguments.speakers, *model.outputDevices, model.commands.pickListenOut);
}

void TranslateRun::awaitStart()
{
    auto& model = AppModel::shared();
    m_starting = model.startedAt.observe([this, &model](std::optional<Date> const& startedAt) {
        if (!startedAt)
            return;
        auto const& settings = m_plan.settings;
        auto const profile = model.activeProfile();
        m_report.began({newUuid(), *startedAt, *startedAt, rawValue(settings.mode), settings.sourceLang,
            settings.targetLang, profile ? profile->name : "", {}});
        m_report.clean({}); // learns the keys before anybody can repeat them
        m_started.set();
    });
}

void TranslateRun::openFile()
{
    auto const engine = speaks() ? m_app->speakEngine().weak_from_this() : m_app->listenEngine().weak_from_this();
    auto& feeder = speaks() ? m_fileMic.open(std::move(*m_file), engine, m_arguments.pace)
                            : m_fileCapture.open(std::move(*m_file), engine, m_arguments.pace);
    feeder.onBegin = [this] {
        if (m_outputs)
            m_outputs->begin();
    };
    feeder.onEnd = [this](std::optional<Error> const& damage) {
        onMain([this, damage] {
            m_damagedFile = damage.has_value();
            m_report.lose(damage);
            m_fed.set();
        });
    };
    wireFeeder(feeder);
}

Engine& TranslateRun::mainEngine() { return speaks() ? m_app->speakEngine() : m_app->listenEngine(); }
std::shared_ptr<FileFeeder> TranslateRun::feeder() const
{
    return speaks() ? m_fileMic.feeder() : m_fileCapture.feeder();
}
AudioTarget const& TranslateRun::target() const { return speaks() ? m_fileMic.target() : m_fileCapture.target(); }

/// What a file needs to know of the recogniser, beside what the controller passes on.
void TranslateRun::wireFeeder(FileFeeder& feeder)
{
    auto& engine = mainEngine();
    engine.dropsStaleSpeech = m_arguments.pace == Pace::realtime;
    auto const feeding = feeder.weak_from_this();
    auto const tellFeeder = [this, feeding](auto tell) {
        m_services.sound.post([feeding, tell, connection = target().connection()] {
            if (auto const alive = feeding.lock())
                tell(*alive, connection);
        });
    };
    engine.onCaption.connect([tellFeeder](CaptionKind, std::string const&) {
        tellFeeder([](FileFeeder& file, int connection) { file.noteText(connection); });
    });
    engine.onProgress = [tellFeeder](SonioxStream::Progress const& progress) {
        if (!progress.finalAudioMs)
            return;
        tellFeeder([final = *progress.finalAudioMs, total = progress.totalAudioMs.value_or(0)](
                       FileFeeder& file, int connection) { file.noteProgress(connection, final, total); });
    };
    engine.onFinished = [this] { onMain([this] { m_answered.set(); }); };
}

/// Until the sound ends, the service fails for good or its time is over.
Task<EndReason> TranslateRun::translate()
{
    showProgress();
    if (m_plan.live) {
        if (m_outputs)
            m_outputs->begin();
        auto const ending = co_await race(waitFor(m_failed), waitFor(m_exhausted));
        co_return ending.index() == 0 ? EndReason::failed : EndReason::exhausted;
    }
    co_return co_await translateFile();
}

Task<EndReason> TranslateRun::translateFile()
{
    auto const feeding = co_await race(waitFor(m_fed), waitFor(m_failed), waitFor(m_exhausted));
    if (feeding.index() != 0)
        co_return feeding.index() == 1 ? EndReason::failed : EndReason::exhausted;
    // A file may end in the middle of an outage: what comes of the connection decides.
    while (!target().open()) {
        if (m_failed.isSet() || m_exhausted.isSet())
            co_return m_failed.isSet() ? EndReason::failed : EndReason::exhausted;
        co_await sleep(openPoll);
    }
    mainEngine().finishAudio();
    auto const answering = co_await race(waitFor(m_answered), waitFor(m_failed), waitFor(m_exhausted));
    if (answering.index() != 0)
        co_return answering.index() == 1 ? EndReason::failed : EndReason::exhausted;
    auto const playing = co_await race(withTimeout(playOutLimit, playOut()), waitFor(m_exhausted));
    if (playing.index() != 0)
        co_return EndReason::exhausted;
    if (!std::get<0>(playing))
        m_report.lose(Error{Error::Kind::other,
            fmt::format("the voice was not complete {:.0f} s after the last words; the rest of it is missing",
                toSeconds(playOutLimit))});
    co_return m_damagedFile ? EndReason::failed : EndReason::finished;
}

/// Until nothing is left to be said.
Task<void> TranslateRun::playOut()
{
    if (m_plan.output == Arguments::Output::none)
        co_return;
    for (;;) {
        bool const finished = co_await speechFinished();
        if (finished)
            co_return;
        co_await sleep(playOutPoll);
    }
}

Task<bool> TranslateRun::speechFinished()
{
    auto& pipeline = speaks() ? m_services.assembly.speakPipeline() : m_services.assembly.listenPipeline();
    OneShot<bool> answer;
    pipeline.post([answer, engine = mainEngine().shared_from_this(), &main = m_services.main] {
        main.post([answer, finished = engine->speechFinished()] { answer.set(finished); });
    });
    co_return co_await answer.take();
}

/// A line of text, or the sentence that tests the voice.
Task<EndReason> TranslateRun::speakText()
{
    auto& player = mainEngine().player();
    if (m_plan.output == Arguments::Output::device && !player.hasOutput())
        m_report.notice(
            T("there is no sound output: nobody will hear it", "không có thiết bị phát: sẽ không ai nghe thấy"));
    if (m_outputs)
        m_outputs->begin();
    if (m_arguments.action == Arguments::Action::say)
        m_app->oneShots().typeToSpeak(fmt::format("{}", fmt::join(m_arguments.words, " ")),
            OneShots::OneLanguage::asItIs, [](std::string const&) {});
    else
        m_app->oneShots().testVoice([] {});
    while (!m_app->idle())
        co_await sleep(playOutPoll);
    auto const deadline = m_services.main.now() + playOutLimit;
    while (player.hasOutput() && player.queuedSeconds() > 0 && m_services.main.now() < deadline)
        co_await sleep(playOutPoll);
    co_await sleep(lastSound);
    auto& model = AppModel::shared();
    bool const failed = *model.statusKind == Kind::warning || *model.statusKind == Kind::error;
    if (failed)
        m_report.complain(*model.status);
    co_return failed ? EndReason::failed : EndReason::finished;
}

void TranslateRun::showProgress()
{
    auto const interval = m_services.presenter.progressInterval();
    if (interval <= 0)
        return;
    if (m_plan.live)
        m_services.presenter.progress(AppModel::shared().elapsed.get(), 0);
    else
        m_services.presenter.progress(feeder()->position(), feeder()->length());
    m_progressTimer = m_services.main.startTimer(
        m_services.main.now() + seconds(interval), m_lifetime.whileAlive([this] { showProgress(); }));
}

Task<void> TranslateRun::close(EndReason reason)
{
    auto& assembly = m_services.assembly;
    m_services.main.stopTimer(m_progressTimer);
    co_await assembly.endSession();
    m_lifetime.end();
    m_starting = {};
    m_report.end();
    if (m_outputs)
        m_report.lose(m_outputs->finish());
    if (m_app && m_started.isSet())
        m_report.writeFiles();
    explain(reason);
    co_await assembly.end(reason == EndReason::stopped ? stopLimit : endLimit);
    co_await assembly.settled(m_services.sound);
}

void TranslateRun::explain(EndReason reason)
{
    if (reason == EndReason::exhausted)
        m_report.complain(m_exhaustedMessage);
    else if (reason == EndReason::finished && m_arguments.input && !m_report.hasLines())
        m_report.complain(fmt::format("{}: no speech was recognised in it", m_arguments.input->string()));
    else if (reason == EndReason::failed && m_started.isSet() && !m_damagedFile)
        m_report.serviceFailed();
}

void TranslateRun::onMain(std::function<void()> job) { m_services.main.post(m_lifetime.whileAlive(std::move(job))); }

} // namespace lingrelay
