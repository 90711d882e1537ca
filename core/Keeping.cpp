#include "core/Keeping.h"

#include "base/Log.h"
#include "base/Uuid.h"
#include "config/L10n.h"

namespace lingrelay {

Keeping::Keeping(Services services, AppSettings const& settings) : m_services(services), m_settings(settings) { }

void Keeping::begin()
{
    m_running = true;
    m_journal.reset();
    m_session.id = newUuid();
    m_session.startedAt = m_services.model.startedAt->value_or(m_services.main.date());
    m_services.status.end(StatusLine::Trouble::keeping);
    if (auto const error = beginJournal())
        Log::write("[journal] {}", error->message);
}

/// As it stands now.
SessionStore::Session Keeping::session() const
{
    auto const profile = m_services.model.activeProfile();
    return {m_session.id, m_session.startedAt, m_services.main.date(), rawValue(m_settings.mode), m_settings.sourceLang,
        m_settings.targetLang, profile ? profile->name : "", *m_services.model.transcript};
}

std::optional<Error> Keeping::beginJournal()
{
    auto journal = Journal::begin(SessionStore::shared(), session(), m_services.main, m_services.disk);
    if (!journal)
        return journal.error();
    m_journal = std::move(*journal);
    return {};
}

void Keeping::describe()
{
    if (!m_running || !m_journal)
        return;
    if (auto const error = m_journal->describe(session()))
        Log::write("[journal] {}", error->message);
}

void Keeping::transcriptChanged()
{
    auto const& lines = *m_services.model.transcript;
    if (!m_running || (!m_journal && lines.empty()))
        return;
    auto const error = !m_journal ? beginJournal()
        : lines.empty()           ? m_journal->clear()
                                  : m_journal->append(lines.back());
    if (error)
        return tell(*error);
    if (m_services.status.end(StatusLine::Trouble::keeping))
        m_services.overlay.showStatus(*m_services.model.status);
}

void Keeping::tell(Error const& error)
{
    Log::write("[journal] {}", error.message);
    if (m_services.status.stands(StatusLine::Trouble::keeping))
        return;
    auto const text = T("Not saved: ", "Chưa lưu được: ") + error.message;
    m_services.status.begin(StatusLine::Trouble::keeping, text, StatusLine::Place::bannerAndStatus);
    m_services.overlay.showStatus("⚠ " + text);
}

bool Keeping::end()
{
    m_running = false;
    return archive();
}

void Keeping::keepLate()
{
    if (m_journal)
        m_journal->append(m_services.model.transcript->back());
    archive();
}

/// Writes the session that has just ended. Its journal stays, for the next launch, while that cannot be done.
bool Keeping::archive()
{
    auto const archived = session();
    auto& status = m_services.status;
    if (archived.lines.empty()) {
        if (auto const journal = std::exchange(m_journal, nullptr))
            journal->discard();
        status.end(StatusLine::Trouble::keeping);
        return true;
    }
    auto const file = SessionStore::shared().archive(archived);
    if (file) {
        if (auto const journal = std::exchange(m_journal, nullptr))
            journal->discardFor(*file);
        status.end(StatusLine::Trouble::keeping);
    } else {
        Log::write("[archive] {}", file.error().message);
    }
    if (onArchived)
        onArchived(archived, file);
    if (file || onArchived)
        return true;
    status.begin(StatusLine::Trouble::keeping, T("Not saved: ", "Chưa lưu được: ") + file.error().message,
        StatusLine::Place::banner);
    return false;
}

} // namespace lingrelay
