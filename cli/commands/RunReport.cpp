#include "cli/commands/RunReport.h"

#include "cli/commands/OutputFile.h"
#include "cli/commands/TranscriptFile.h"
#include "config/L10n.h"

namespace lingrelay {

namespace {

using Kind = AppModel::StatusKind;

/// A sentence without its full stop, to go on after it.
std::string sentence(std::string text)
{
    while (!text.empty() && text.back() == '.')
        text.pop_back();
    return text;
}

} // namespace

void RunReport::Overlay::update(CaptionKind kind, std::string const& text)
{
    m_report.onMain([this, kind, text] { m_report.m_presenter.caption(kind, text); });
}

void RunReport::Overlay::showStatus(std::string const& text)
{
    // Warnings that are no status of the session come this way alone.
    m_report.onMain([this, text] {
        auto const& shown = *AppModel::shared().status;
        if (!text.starts_with("⚠ ") || (!shown.empty() && text.ends_with(shown)))
            return;
        m_report.notice(text);
    });
}

bool RunReport::Shell::ask(std::string const&, std::string const&, std::string const&, std::string const&)
{
    m_report.notice(T("without the virtual microphone the other side does not hear the translation; "
                      "\"lingrelay-cli devices install-virtual\" installs it",
        "không có micro ảo thì bên kia không nghe được bản dịch; "
        "\"lingrelay-cli devices install-virtual\" sẽ cài nó"));
    return false;
}

RunReport::RunReport(Scheduler& main, Presenter& presenter, Secrecy& secrecy, Arguments const& arguments, Instant start)
    : m_main(main)
    , m_presenter(presenter)
    , m_secrecy(secrecy)
    , m_arguments(arguments)
    , m_listenClauses(AppModel::Direction::listen, start)
    , m_speakClauses(AppModel::Direction::speak, start)
{
}

void RunReport::announceConnecting()
{
    m_announced = true;
    m_presenter.status(Kind::connecting, T("Connecting…", "Đang kết nối…"));
}

void RunReport::observeModel()
{
    auto& model = AppModel::shared();
    m_subscriptions.push_back(model.statusKind.observe([this, &model](Kind kind) {
        if (!std::exchange(m_announced, false) || kind != Kind::connecting)
            m_presenter.status(kind, *model.status);
    }));
    m_subscriptions.push_back(model.transcript.observe([this](std::vector<AppModel::Line> const& lines) {
        if (lines.empty() || lines.back().id == m_lastLine)
            return;
        m_lastLine = lines.back().id;
        m_presenter.line(lines.back());
    }));
}

void RunReport::observe(Engine& engine, AppModel::Direction direction, Scheduler& pipeline)
{
    auto& clauses = direction == AppModel::Direction::speak ? m_speakClauses : m_listenClauses;
    engine.onLine.connect([&clauses](std::string const& source, std::string const& translation, std::string const&) {
        clauses.text(source, translation);
    });
    engine.onStatus.connect([this](Engine::Status status, std::optional<std::string> const& message) {
        onMain([this, status, message] { noteStatus(status, message.value_or("")); });
    });
    engine.onTrace = [this, &clauses](int seq, std::string_view hop) { clauses.stamp(seq, hop, m_main.now()); };
    engine.onSpeech = [this, &clauses, &pipeline](TTSPipeline::Job const& job, Duration delay) {
        // A file that is written clause after clause has no listener whom anything could delay.
        auto const heardAt = pipeline.now() + (m_arguments.pace == Pace::fast ? Duration::zero() : delay);
        auto heard = m_lifetime.whileAlive([this, &clauses, job, heardAt] {
            clauses.stamp(job.seq, "heard", heardAt);
            m_presenter.speech(job.seq, toSeconds(heardAt - job.createdAt));
        });
        onMain([this, heardAt, heard = std::move(heard)] { m_main.startTimer(heardAt, heard); });
    };
}

void RunReport::noteStatus(Engine::Status status, std::string const& message)
{
    if (status == Engine::Status::ready)
        m_serviceError.clear();
    if (status != Engine::Status::error)
        return;
    m_lastError = clean(message);
    if (m_lastError.starts_with(T("Speech service: ", "Dịch vụ giọng nói: ")))
        m_serviceError = m_lastError;
}

void RunReport::archived(SessionStore::Session const& session, Result<std::filesystem::path> const& file)
{
    m_session = session;
    if (!file)
        return lose(file.error());
    if (std::exchange(m_archivedFile, file->string()) != file->string())
        m_presenter.archived(file->string());
}

void RunReport::notice(std::string const& text)
{
    m_presenter.notice(text);
    if (m_arguments.events == Arguments::Events::json)
        complain(text);
}

void RunReport::lose(std::optional<Error> const& error)
{
    if (!error)
        return;
    m_lostFiles = true;
    complain(error->message);
}

void RunReport::serviceFailed()
{
    // What the service said tells more than how its connection ended.
    complain("the speech service failed and did not come back: "
        + sentence(m_serviceError.empty() ? m_lastError : m_serviceError)
        + "; check the key and the network, then run again");
}

void RunReport::refused(HostedSession::Failure const& failure)
{
    complain(failure.code.empty() ? "the session backend cannot be reached: " + sentence(failure.message)
                + "; check the network and the address"
                                  : "the session was refused: " + failure.message);
}

void RunReport::end()
{
    m_lifetime.end();
    m_subscriptions.clear();
}

void RunReport::writeFiles()
{
    if (m_session.lines.empty())
        m_session.endedAt = m_main.date();
    for (auto const& transcript : m_arguments.transcripts)
        lose(writeFile(transcript.path, clean(transcriptIn(transcript.form, m_session))));
    if (m_arguments.trace)
        lose(writeFile(*m_arguments.trace, clean(m_listenClauses.jsonLines() + m_speakClauses.jsonLines())));
}

} // namespace lingrelay
