// What was said is kept: line by line in the journal, as a session in the archive at the stop.

#include "base/Log.h"
#include "base/Uuid.h"
#include "core/AppDelegate.h"

namespace lingrelay {

/// The running session as it stands.
SessionStore::Session AppDelegate::session() const
{
    auto const profile = m_model.activeProfile();
    return {m_journal ? m_journal->sessionId() : newUuid(), m_model.startedAt->value_or(m_services.main.date()),
        m_services.main.date(), rawValue(m_settings.mode), m_settings.sourceLang, m_settings.targetLang,
        profile ? profile->name : "", *m_model.transcript};
}

void AppDelegate::beginJournal()
{
    auto journal = Journal::begin(SessionStore::shared(), session(), m_services.main, m_services.listen.background);
    if (journal)
        m_journal = std::move(*journal);
    else
        Log::write("[journal] {}", journal.error().message);
}

/// Its settings or its profile have changed.
void AppDelegate::describeSession()
{
    if (!m_journal)
        return;
    if (auto const error = m_journal->describe(session()))
        Log::write("[journal] {}", error->message);
}

/// A line was added, or all of them were taken away.
void AppDelegate::keepTranscript(std::vector<AppModel::Line> const& lines)
{
    if (!m_journal)
        return;
    auto const error = lines.empty() ? m_journal->clear() : m_journal->append(lines.back());
    if (error)
        Log::write("[journal] {}", error->message);
}

void AppDelegate::archiveSession()
{
    auto const archived = session();
    auto const journal = std::exchange(m_journal, nullptr);
    if (!*m_model.startedAt)
        return;
    if (archived.lines.empty()) {
        if (journal)
            journal->discard();
        return;
    }
    auto const file = SessionStore::shared().archive(archived);
    if (file && journal)
        journal->discardFor(*file);
    if (!file)
        Log::write("[archive] {}", file.error().message);
    if (onArchived)
        onArchived(archived, file);
}

} // namespace lingrelay
