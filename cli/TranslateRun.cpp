#include "cli/TranslateRun.h"

#include "base/Uuid.h"
#include "base/async/OneShot.h"
#include "config/KeyStore.h"
#include "config/L10n.h"

namespace lingrelay {

namespace {

using Kind = AppModel::StatusKind;

constexpr Duration playOutLimit = seconds(60.0);
constexpr Duration playOutPoll = seconds(0.02);
constexpr Duration openPoll = seconds(0.02);
constexpr Duration endPoll = seconds(0.005);
/// How long the last report to the backend may take; the user's stop is to be over in three seconds.
constexpr Duration endLimit = seconds(5.0);
constexpr Duration stopLimit = seconds(1.0);

std::string transcriptText(Arguments::Form form, SessionRecord const& record)
{
    switch (form) {
    case Arguments::Form::text:
        return TranscriptForms::text(record.lines);
    case Arguments::Form::srt:
        return TranscriptForms::srt(record.lines, record.startedAt);
    case Arguments::Form::vtt:
        return TranscriptForms::vtt(record.lines, record.startedAt);
    case Arguments::Form::json:
        return TranscriptForms::json(record);
    }
    return {};
}

/// A sentence without its full stop, to go on after it.
std::string sentence(std::string text)
{
    while (!text.empty() && text.back() == '.')
        text.pop_back();
    return text;
}

/// Waits until the scheduler has done what it was given before.
Task<void> settled(Scheduler& scheduler, Scheduler& main)
{
    OneShot<bool> done;
    scheduler.post([done, &main] { main.post([done] { done.set(true); }); });
    co_await done.take();
}

} // namespace

class TranslateRun::Target final : public AudioTarget {
public:
    explicit Target(std::weak_ptr<Engine> engine) : m_engine(std::move(engine)) { }

    bool open() const override
    {
        auto const stream = this->stream();
        return stream && stream->open();
    }
    int connection() const override
    {
        auto const stream = this->stream();
        return stream ? stream->connections() : 0;
    }
    void send(std::string pcm, std::function<void()> sent) override
    {
        if (auto const engine = m_engine.lock())
            engine->sendAudio(std::move(pcm), std::move(sent));
    }

private:
    std::shared_ptr<SonioxStream> stream() const
    {
        auto const engine = m_engine.lock();
        return engine ? engine->stream() : nullptr;
    }

    std::weak_ptr<Engine> m_engine;
};

TranslateRun::TranslateRun(
    Services services, Arguments const& arguments, RunPlan plan, SoundFile file, Instant start, Connect connect)
    : m_services(services)
    , m_arguments(arguments)
    , m_plan(std::move(plan))
    , m_file(std::move(file))
    , m_connect(std::move(connect))
    , m_clauses(m_plan.direction, start)
    , m_live(std::make_shared<bool>(true))
{
    m_secrecy.add(Secrets::key());
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
    if (!m_plan.ownKey)
        status(Kind::connecting, T("Connecting…", "Đang kết nối…"));
    auto problem = co_await connect();
    if (!problem && !m_plan.ownKey)
        problem = co_await startHosted();
    if (problem) {
        status(Kind::warning, *problem);
        co_return EndReason::refused;
    }
    co_return co_await translate();
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
            m_complaints.push_back(result.error().message);
            co_return result.error().message;
        }
        local = *result;
        m_secrecy.add(local.token);
    }
    m_hosted = &m_connect(m_plan.hostsWith(local.hosts), local.token);
    m_hosted->onExhausted = [this] { m_exhausted.set(); };
    co_return std::nullopt;
}

Task<std::optional<std::string>> TranslateRun::startHosted()
{
    auto const failure = co_await m_hosted->start();
    if (!failure)
        co_return std::nullopt;
    auto const message = failure->code == "at_capacity" ? T("All translation slots are busy. Try again in a moment.",
                             "Hệ thống đang bận hết chỗ. Vui lòng thử lại sau ít phút.")
                                                        : clean(failure->message);
    m_complaints.push_back(failure->code.empty()
            ? "the session backend cannot be reached: " + sentence(message) + "; check the network and the address"
            : "the session was refused: " + message);
    co_return message;
}

Task<EndReason> TranslateRun::translate()
{
    makeEngine();
    makeFeeder();
    wireEngine();
    m_engine->start(m_plan.record());
    m_services.sound.post([feeder = m_feeder] { feeder->start(); });
    showProgress();
    m_startedAt = m_services.main.date();

    auto const feeding = co_await race(waitFor(m_fed), waitFor(m_failed), waitFor(m_exhausted));
    if (feeding.index() != 0)
        co_return feeding.index() == 1 ? EndReason::failed : EndReason::exhausted;
    // A file may end in the middle of an outage: what comes of the connection decides.
    while (!m_target->open()) {
        if (m_failed.isSet() || m_exhausted.isSet())
            co_return m_failed.isSet() ? EndReason::failed : EndReason::exhausted;
        co_await sleep(openPoll);
    }
    m_engine->finishAudio();
    auto const answering = co_await race(waitFor(m_answered), waitFor(m_failed), waitFor(m_exhausted));
    if (answering.index() != 0)
        co_return answering.index() == 1 ? EndReason::failed : EndReason::exhausted;
    auto const playing = co_await race(withTimeout(playOutLimit, playOut()), waitFor(m_exhausted));
    co_return playing.index() == 0 ? EndReason::finished : EndReason::exhausted;
}

/// Until nothing is left to be said.
Task<void> TranslateRun::playOut()
{
    if (!m_plan.settings.tts)
        co_return;
    for (;;) {
        OneShot<bool> answer;
        m_services.pipeline.post([answer, engine = m_engine, &main = m_services.main] {
            main.post([answer, finished = engine->speechFinished()] { answer.set(finished); });
        });
        if (co_await answer.take())
            co_return;
        co_await sleep(playOutPoll);
    }
}

void TranslateRun::makeEngine()
{
    std::optional<WavFile> wav;
    if (m_arguments.output == Arguments::Output::file) {
        auto created = WavFile::create(m_arguments.outputFile, WavOutputs::rate);
        if (created)
            wav.emplace(std::move(*created));
        else
            complain(created.error());
    }
    m_outputs = std::make_unique<WavOutputs>(m_services.sound, std::move(wav), m_arguments.pace);
    m_engine = Engine::create(
        {m_services.network, m_services.stream, m_services.pipeline, m_services.background, *m_outputs});
    m_outputs->queuedSeconds = [&player = m_engine->player()] { return player.queuedSeconds(); };
    m_target = std::make_unique<Target>(m_engine);
    m_engine->tag = rawValue(m_plan.direction);
    m_engine->contextProfile = m_plan.profile;
    m_engine->useRollingContext = m_plan.settings.rollingContext;
    m_engine->dropsStaleSpeech = m_arguments.pace == Arguments::Pace::realtime;
}

void TranslateRun::wireEngine()
{
    auto& engine = *m_engine;
    engine.onCaption = [this](std::string const& kind, std::string const& text) {
        m_services.sound.post(
            [feeder = m_feeder, connection = m_target->connection()] { feeder->noteText(connection); });
        onMain([this, kind, text] { engineCaption(kind, text); });
    };
    engine.onLine = [this](std::string const& source, std::string const& translation, std::string const& speaker) {
        m_clauses.text(source, translation);
        onMain([this, source, translation, speaker] { engineLine(source, translation, speaker); });
    };
    engine.onStatus = [this](std::string const& kind, std::optional<std::string> const& message) {
        onMain([this, kind, message] { engineStatus(kind, message); });
    };
    engine.onSpeech = [this](TTSPipeline::Job const& job, Duration delay) {
        // A file that is written clause after clause has no listener whom anything could delay.
        auto const wait = m_arguments.pace == Arguments::Pace::fast ? Duration::zero() : delay;
        onMain([this, job, heardAt = m_services.pipeline.now() + wait] {
            m_services.main.startTimer(heardAt, [this, job, heardAt, live = std::weak_ptr(m_live)] {
                if (live.lock())
                    engineSpeech(job, heardAt);
            });
        });
    };
    engine.onFinished = [this] { onMain([this] { m_answered.set(); }); };
    engine.onFailed = [this] { onMain([this] { m_failed.set(); }); };
    engine.onTrace = [this](int seq, std::string_view hop) { m_clauses.stamp(seq, hop, m_services.main.now()); };
}

void TranslateRun::makeFeeder()
{
    m_feeder = std::make_shared<FileFeeder>(m_services.sound, *m_target, std::move(*m_file), m_arguments.pace);
    m_feeder->onBegin = [this] { m_outputs->begin(); };
    m_feeder->onEnd = [this] { onMain([this] { m_fed.set(); }); };
    m_engine->onProgress = [this](SonioxStream::Progress const& progress) {
        if (!progress.finalAudioMs)
            return;
        m_services.sound.post(
            [feeder = m_feeder, connection = m_target->connection(), final = *progress.finalAudioMs,
                total = progress.totalAudioMs.value_or(0)] { feeder->noteProgress(connection, final, total); });
    };
}

void TranslateRun::showProgress()
{
    auto const interval = m_services.presenter.progressInterval();
    if (interval <= 0)
        return;
    m_services.presenter.progress(m_feeder->position(), m_feeder->length());
    m_progressTimer
        = m_services.main.startTimer(m_services.main.now() + seconds(interval), [this, live = std::weak_ptr(m_live)] {
              if (live.lock())
                  showProgress();
          });
}

void TranslateRun::engineStatus(std::string const& kind, std::optional<std::string> const& message)
{
    if (kind == "ready") {
        m_serviceError.clear();
        return status(Kind::live, L10n::t("ready"));
    }
    if (kind == "reconnecting")
        return status(Kind::connecting, L10n::t("reconnecting"));
    if (kind != "error")
        return status(Kind::idle, kind);
    m_lastError = clean(message.value_or(T("error", "lỗi")));
    if (m_lastError.starts_with(T("Speech service: ", "Dịch vụ giọng nói: ")))
        m_serviceError = m_lastError;
    status(Kind::error, "⚠ " + m_lastError);
}

void TranslateRun::engineCaption(std::string const& kind, std::string const& text)
{
    if (m_plan.direction == AppModel::Direction::listen)
        m_services.presenter.caption(kind, clean(text));
    else if (kind == "translation")
        m_services.presenter.caption("speak", clean(text));
    else if (m_plan.settings.forceTwoWay) // two people at one machine: what was said is a caption as well
        m_services.presenter.caption("original", clean(text));
}

void TranslateRun::engineLine(std::string const& source, std::string const& translation, std::string const& speaker)
{
    m_lines.push_back(
        {newUuid(), m_services.main.date(), m_plan.direction, clean(source), clean(translation), clean(speaker)});
    m_services.presenter.line(m_lines.back());
}

void TranslateRun::engineSpeech(TTSPipeline::Job const& job, Instant heardAt)
{
    m_clauses.stamp(job.seq, "heard", heardAt);
    m_services.presenter.speech(job.seq, toSeconds(heardAt - job.createdAt));
}

Task<void> TranslateRun::close(EndReason reason)
{
    m_live.reset();
    m_services.main.stopTimer(m_progressTimer);
    if (m_hosted)
        m_hosted->end();
    if (m_engine) {
        m_engine->stop();
        m_services.sound.post([feeder = m_feeder] { feeder->stop(); });
        complain(m_outputs->finish());
        writeFiles();
        status(Kind::idle, "");
    }
    if (reason == EndReason::exhausted) {
        auto const message = T("Your service time has run out.", "Bạn đã dùng hết thời gian dịch vụ.");
        m_complaints.push_back(message);
        status(Kind::warning, message);
    } else if (reason == EndReason::failed) {
        // What the service said tells more than how its connection ended.
        m_complaints.push_back("the speech service failed and did not come back: "
            + sentence(m_serviceError.empty() ? m_lastError : m_serviceError)
            + "; check the key and the network, then run again");
    }
    co_await endHosted(reason == EndReason::stopped ? stopLimit : endLimit);
    if (!m_engine)
        co_return;
    m_engine->player().teardown();
    m_engine.reset();
    for (auto* scheduler : {&m_services.sound, &m_services.stream, &m_services.pipeline, &m_services.background})
        co_await settled(*scheduler, m_services.main);
}

Task<void> TranslateRun::endHosted(Duration limit)
{
    if (!m_hosted)
        co_return;
    auto const deadline = m_services.main.now() + limit;
    while (!m_hosted->idle() && m_services.main.now() < deadline)
        co_await sleep(endPoll);
    m_hosted->shutdown();
    while (!m_hosted->idle())
        co_await sleep(endPoll);
}

void TranslateRun::status(Kind kind, std::string const& text) { m_services.presenter.status(kind, text); }

void TranslateRun::onMain(std::function<void()> job)
{
    m_services.main.post([live = std::weak_ptr(m_live), job = std::move(job)] {
        if (live.lock())
            job();
    });
}

void TranslateRun::writeFiles()
{
    auto const record = this->record();
    for (auto const& transcript : m_arguments.transcripts)
        complain(writeFile(transcript.path, transcriptText(transcript.form, record)));
    if (m_arguments.trace)
        complain(writeFile(*m_arguments.trace, clean(m_clauses.jsonLines())));
}

void TranslateRun::complain(std::optional<Error> const& error)
{
    if (!error)
        return;
    m_lostFiles = true;
    m_complaints.push_back(error->message);
}

SessionRecord TranslateRun::record() const
{
    auto const& settings = m_plan.settings;
    return {newUuid(), *m_startedAt, m_services.main.date(), rawValue(settings.mode), settings.sourceLang,
        settings.targetLang, m_plan.profile ? m_plan.profile->name : "", m_lines};
}

std::string TranslateRun::clean(std::string text)
{
    // Renewed keys are known before anybody can repeat them.
    if (auto key = m_hosted ? m_hosted->sttKey() : ""; key != m_hostedKey) {
        m_hostedKey = key;
        m_secrecy.add(std::move(key));
        m_secrecy.add(m_hosted->ttsKey());
    }
    return m_secrecy.clean(std::move(text));
}

} // namespace lingrelay
