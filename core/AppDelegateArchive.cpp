// What was said is kept: line by line in the journal, as a session in the archive at the stop.

#include "base/Log.h"
#include "base/Uuid.h"
#include "config/L10n.h"
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

std::string AppDelegate::notSaved(Error const& error) { return T("Not saved: ", "Chưa lưu được: ") + error.message; }

std::optional<Error> AppDelegate::beginJournal()
{
    auto journal = Journal::begin(SessionStore::shared(), session(), m_services.main, m_services.listen.background);
    if (!journal)
        return journal.error();
    m_journal = std::move(*journal);
    return {};
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
    if (!m_running || (!m_journal && lines.empty()))
        return;
    auto const error = !m_journal ? beginJournal()
        : lines.empty()           ? m_journal->clear()
                                  : m_journal->append(lines.back());
    if (!error)
        return troubleIsOver(m_keepingTrouble);
    Log::write("[journal] {}", error->message);
    if (!m_keepingTrouble.empty())
        return;
    tellTrouble(m_keepingTrouble, notSaved(*error));
    m_services.overlay.showStatus("⚠ " + m_keepingTrouble);
}

/// Why the session could not be kept, unless somebody else tells the user of it.
std::optional<Error> AppDelegate::archiveSession()
{
    auto const archived = session();
    auto const journal = std::exchange(m_journal, nullptr);
    if (!*m_model.startedAt)
        return {};
    if (archived.lines.empty()) {
        if (journal)
            journal->discard();
        return {};
    }
    auto const file = SessionStore::shared().archive(archived);
    if (file && journal)
        journal->discardFor(*file);
    if (!file)
        Log::write("[archive] {}", file.error().message);
    if (onArchived)
        onArchived(archived, file);
    return file || onArchived ? std::nullopt : std::optional(file.error());
}

} // namespace lingrelay
