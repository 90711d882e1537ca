#pragma once

#include "base/async/Task.h"
#include "sessions/SessionStore.h"
#include "sessions/UserLocale.h"
#include "ui/Bridge.h"
#include "ui/LinesModel.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

class HostedSession;

/// The archived sessions that hold `query`, newest first, and the one that is open; main. The archive is read on the
/// disk's scheduler when `active` is set for the first time, since that takes a moment. Before it dies: `shutdown`,
/// then wait until it is `idle`.
class HistoryModel final : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(bool active READ active WRITE setActive NOTIFY activeChanged)
    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged) ///< that match
    Q_PROPERTY(bool empty READ empty NOTIFY countChanged) ///< nothing is archived, as far as is known
    Q_PROPERTY(bool loading READ loading NOTIFY countChanged) ///< the archive is still being read
    Q_PROPERTY(QString selected READ selected NOTIFY selectedChanged) ///< id of the open session, or empty
    Q_PROPERTY(QAbstractListModel* lines READ lines CONSTANT) ///< of the open session
    Q_PROPERTY(QString summary READ summary NOTIFY summaryChanged)
    Q_PROPERTY(QString summaryError READ summaryError NOTIFY summaryChanged)
    Q_PROPERTY(bool ready READ ready NOTIFY readyChanged) ///< minutes can be asked for
    Q_PROPERTY(bool summarizing READ summarizing NOTIFY summaryChanged)

public:
    enum Role { IdRole = Qt::UserRole + 1, TitleRole, DetailsRole, SizeRole };

    /// The model and the schedulers outlive this list.
    HistoryModel(AppModel& model, Scheduler& main, Scheduler& disk);
    /// From now on the backend of `hosted` can be asked for minutes; `hosted` outlives this list.
    void setHosted(HostedSession const& hosted);
    /// Takes secrets out of what the backend says of a failure.
    std::function<std::string(std::string)> clean = [](std::string text) { return text; };

    bool active() const { return m_active; }
    void setActive(bool active);
    QString query() const { return m_query; }
    void setQuery(QString const& query);
    int count() const { return static_cast<int>(m_rows.size()); }
    bool empty() const { return m_stored == 0; }
    bool loading() const { return m_loading; }
    QString selected() const { return toQt(m_selected ? m_selected->id : std::string()); }
    QAbstractListModel* lines() { return &m_lines; }
    QString summary() const { return m_summary; }
    QString summaryError() const { return m_summaryError; }
    bool ready() const { return m_hosted; }
    bool summarizing() const { return m_summarizing; }

    /// Opens the session, closing any other; closes it when it is the open one.
    Q_INVOKABLE void toggle(QString const& id);
    Q_INVOKABLE QString textOf(QString const& id) const;
    Q_INVOKABLE void remove(QString const& id);
    /// Asks for the minutes of the open session; they are kept while it is open.
    Q_INVOKABLE void makeSummary();
    /// Cancels what waits for the backend and the disk.
    void shutdown() { m_tasks.cancel(); }
    bool idle() const { return m_tasks.running() == 0; }
    /// The names of languages have changed.
    void languageChanged();

    int rowCount(QModelIndex const& parent = {}) const override;
    QVariant data(QModelIndex const& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    Q_SIGNAL void activeChanged();
    Q_SIGNAL void queryChanged();
    Q_SIGNAL void countChanged();
    Q_SIGNAL void selectedChanged();
    Q_SIGNAL void summaryChanged();
    Q_SIGNAL void readyChanged();

private:
    Task<void> load();
    void refresh();
    Task<void> search(int number);
    void noteRows();
    void select(std::optional<SessionStore::Session> session);
    SessionStore::Session const* find(QString const& id) const;
    Task<void> summarize(SessionStore::Session session);

    AppModel& m_model;
    Scheduler& m_main;
    Scheduler& m_disk;
    HostedSession const* m_hosted = nullptr;
    TaskGroup m_tasks;
    UserLocale m_locale;
    bool m_active = false;
    bool m_loading = false;
    QString m_query;
    int m_searches = 0; ///< the last one counts
    std::size_t m_stored = 0;
    std::vector<SessionStore::Session> m_rows;
    std::optional<SessionStore::Session> m_selected;
    LinesModel m_lines;
    QString m_summary;
    QString m_summaryError;
    bool m_summarizing = false;
    Subscription m_watch;
};

} // namespace lingrelay
