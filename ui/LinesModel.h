#pragma once

#include "model/AppModel.h"

#include <QAbstractListModel>
#include <QSortFilterProxyModel>

#include <vector>

namespace lingrelay {

/// Lines of a transcript as rows; main.
class LinesModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { AtRole = Qt::UserRole + 1, DirectionRole, HeardRole, SpeakerRole, SourceRole, TranslationRole };

    using Lines = std::vector<AppModel::Line>;

    /// Shows `lines` from now on. Rows that stay keep their delegates.
    void setLines(Lines const& lines);

    int rowCount(QModelIndex const& parent = {}) const override;
    QVariant data(QModelIndex const& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    Lines m_lines;
};

/// The model's transcript, all of it or one direction; main. The model outlives it.
class TranscriptModel final : public QSortFilterProxyModel {
    Q_OBJECT
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged) ///< "all", "listen", "speak"
    Q_PROPERTY(int count READ count NOTIFY countChanged) ///< of the rows on show
    Q_PROPERTY(bool empty READ empty NOTIFY countChanged) ///< no line at all, whatever the filter

public:
    explicit TranscriptModel(AppModel& model);

    QString filter() const { return m_filter; }
    void setFilter(QString const& filter);
    int count() const { return rowCount(); }
    bool empty() const { return m_lines.rowCount() == 0; }

    Q_SIGNAL void filterChanged();
    Q_SIGNAL void countChanged();

private:
    bool filterAcceptsRow(int row, QModelIndex const& parent) const override;

    LinesModel m_lines;
    QString m_filter = QStringLiteral("all");
    Subscription m_watch;
};

} // namespace lingrelay
