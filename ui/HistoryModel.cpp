#include "ui/HistoryModel.h"

#include "config/L10n.h"
#include "config/Languages.h"
#include "sessions/TranscriptForms.h"
#include "speech/HostedSession.h"
#include "text/Summarizer.h"
#include "ui/ListSync.h"

namespace lingrelay {

namespace {

using Session = SessionStore::Session;

std::string duration(Session const& session)
{
    auto const whole = std::chrono::floor<std::chrono::seconds>(session.endedAt - session.startedAt).count();
    auto const shown = std::max<std::int64_t>(whole, 0);
    return fmt::format("{}:{:02}", shown / 60, shown % 60);
}

/// "English → Spanish · 3 March 2026, 09:30"
std::string details(Session const& session, UserLocale const& locale)
{
    return Catalog::name(session.sourceLang) + " → " + Catalog::name(session.targetLang) + " · "
        + locale.dateAndTime(session.startedAt);
}

/// "12 lines · 42:34"
std::string sizeOf(Session const& session)
{
    auto const count = session.lines.size();
    auto const number = std::to_string(count);
    return number + (count == 1 ? T(" line", " câu") : T(" lines", " câu")) + " · " + duration(session);
}

} // namespace

HistoryModel::HistoryModel(AppModel& model, Scheduler& main, Scheduler& disk)
    : m_model(model)
    , m_main(main)
    , m_disk(disk)
    , m_tasks(main)
{
}

void HistoryModel::setHosted(HostedSession const& hosted)
{
    m_hosted = &hosted;
    Q_EMIT readyChanged();
}

void HistoryModel::setActive(bool active)
{
    if (active == m_active)
        return;
    m_active = active;
    if (!active) {
        m_watch = {};
    } else if (!m_loading) {
        m_loading = true;
        m_tasks.spawn(load());
    }
    Q_EMIT activeChanged();
    Q_EMIT countChanged();
}

Task<void> HistoryModel::load()
{
    auto& store = SessionStore::shared();
    co_await store.load(m_disk, m_main);
    m_loading = false;
    if (!m_active)
        co_return;
    m_watch = store.sessions().observe([this](auto const&) { refresh(); });
    refresh();
}

void HistoryModel::setQuery(QString const& query)
{
    if (query == m_query)
        return;
    m_query = query;
    Q_EMIT queryChanged();
    if (!m_active || m_loading)
        return;
    m_tasks.spawn(search(++m_searches));
}

/// The rows are those of the last words until it is done.
Task<void> HistoryModel::search(int number)
{
    auto const isLast = [this, number] { return number == m_searches; };
    auto found = co_await SessionStore::shared().search(m_query.toStdString(), isLast);
    if (!found || !isLast())
        co_return;
    // Other words, other results: nobody's place is lost, and thousands of small changes would take long.
    beginResetModel();
    m_rows = std::move(*found);
    endResetModel();
    noteRows();
}

void HistoryModel::refresh()
{
    ++m_searches;
    auto& store = SessionStore::shared();
    m_stored = store.sessions()->size();
    auto const at = [this](std::size_t index) { return m_rows.begin() + static_cast<std::ptrdiff_t>(index); };
    syncRows(
        m_rows, store.search(m_query.toStdString()), [](Session const& row) -> std::string const& { return row.id; },
        [&](std::size_t first, std::size_t count) {
            beginRemoveRows({}, static_cast<int>(first), static_cast<int>(first + count - 1));
            m_rows.erase(at(first), at(first + count));
            endRemoveRows();
        },
        [&](std::size_t first, std::span<Session const> rows) {
            beginInsertRows({}, static_cast<int>(first), static_cast<int>(first + rows.size() - 1));
            m_rows.insert(at(first), rows.begin(), rows.end());
            endInsertRows();
        });
    noteRows();
}

void HistoryModel::noteRows()
{
    auto const& stored = *SessionStore::shared().sessions();
    auto const isOpen = [this](Session const& session) { return session.id == m_selected->id; };
    // One that a search hides is open when it comes back.
    if (m_selected && std::none_of(stored.begin(), stored.end(), isOpen))
        select({});
    Q_EMIT countChanged();
}

void HistoryModel::select(std::optional<Session> session)
{
    m_selected = std::move(session);
    m_lines.setLines(m_selected ? LinesModel::Lines(m_selected->lines) : LinesModel::Lines());
    m_summary.clear();
    m_summaryError.clear();
    Q_EMIT selectedChanged();
    Q_EMIT summaryChanged();
}

Session const* HistoryModel::find(QString const& id) const
{
    auto const wanted = id.toStdString();
    auto const found = std::find_if(m_rows.begin(), m_rows.end(), [&](Session const& row) { return row.id == wanted; });
    return found == m_rows.end() ? nullptr : &*found;
}

void HistoryModel::toggle(QString const& id)
{
    auto const* session = id == selected() ? nullptr : find(id);
    select(session ? std::optional(*session) : std::nullopt);
}

QString HistoryModel::textOf(QString const& id) const
{
    auto const* session = find(id);
    return session ? toQt(TranscriptForms::sessionText(session->lines)) : QString();
}

void HistoryModel::remove(QString const& id)
{
    auto const* session = find(id);
    if (!session)
        return;
    auto const removed = *session; // the row goes with the archive's news
    select({});
    SessionStore::shared().remove(removed);
}

void HistoryModel::makeSummary()
{
    if (!m_hosted || !m_selected || m_summarizing)
        return;
    m_summarizing = true;
    m_summaryError.clear();
    Q_EMIT summaryChanged();
    m_tasks.spawn(summarize(*m_selected));
}

Task<void> HistoryModel::summarize(Session session)
{
    auto const summary = co_await Summarizer::summarize(
        TranscriptForms::sessionText(session.lines), m_model.settings->targetLang, m_hosted->clientToken(), "full");
    m_summarizing = false;
    // Another session may be open by now.
    if (m_selected && m_selected->id == session.id) {
        if (summary)
            m_summary = toQt(*summary);
        else
            m_summaryError = toQt(clean(summary.error().message));
    }
    Q_EMIT summaryChanged();
}

void HistoryModel::languageChanged()
{
    if (!m_rows.empty())
        Q_EMIT dataChanged(index(0), index(count() - 1), {DetailsRole, SizeRole});
}

int HistoryModel::rowCount(QModelIndex const& parent) const { return parent.isValid() ? 0 : count(); }

QVariant HistoryModel::data(QModelIndex const& index, int role) const
{
    if (index.row() < 0 || index.row() >= count())
        return {};
    auto const& session = m_rows[static_cast<std::size_t>(index.row())];
    switch (role) {
    case IdRole:
        return toQt(session.id);
    case TitleRole:
        return toQt(session.title(m_locale));
    case DetailsRole:
        return toQt(details(session, m_locale));
    case SizeRole:
        return toQt(sizeOf(session));
    default:
        return {};
    }
}

QHash<int, QByteArray> HistoryModel::roleNames() const
{
    return {{IdRole, "sessionId"}, {TitleRole, "title"}, {DetailsRole, "details"}, {SizeRole, "size"}};
}

} // namespace lingrelay
