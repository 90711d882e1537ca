#include "ui/LinesModel.h"

#include "ui/Bridge.h"
#include "ui/ListSync.h"

namespace lingrelay {

void LinesModel::setLines(Lines const& lines)
{
    auto const at = [this](std::size_t index) { return m_lines.begin() + static_cast<std::ptrdiff_t>(index); };
    syncRows(
        m_lines, lines, [](AppModel::Line const& line) -> std::string const& { return line.id; },
        [&](std::size_t first, std::size_t count) {
            beginRemoveRows({}, static_cast<int>(first), static_cast<int>(first + count - 1));
            m_lines.erase(at(first), at(first + count));
            endRemoveRows();
        },
        [&](std::size_t first, std::span<AppModel::Line const> rows) {
            beginInsertRows({}, static_cast<int>(first), static_cast<int>(first + rows.size() - 1));
            m_lines.insert(at(first), rows.begin(), rows.end());
            endInsertRows();
        });
}

int LinesModel::rowCount(QModelIndex const& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_lines.size());
}

QVariant LinesModel::data(QModelIndex const& index, int role) const
{
    if (index.row() < 0 || index.row() >= rowCount())
        return {};
    auto const& line = m_lines[static_cast<std::size_t>(index.row())];
    switch (role) {
    case AtRole:
        return toQt(clockTime(line.at));
    case DirectionRole:
        return QString::fromLatin1(rawValue(line.direction));
    case HeardRole:
        return line.direction == AppModel::Direction::listen;
    case SpeakerRole:
        return toQt(line.speaker);
    case SourceRole:
        return toQt(line.source);
    case TranslationRole:
        return toQt(line.translation);
    default:
        return {};
    }
}

QHash<int, QByteArray> LinesModel::roleNames() const
{
    return {{AtRole, "at"}, {HeardRole, "heard"}, {SpeakerRole, "speaker"}, {SourceRole, "source"},
        {TranslationRole, "translation"}};
}

TranscriptModel::TranscriptModel(AppModel& model)
{
    setSourceModel(&m_lines);
    for (auto const changed : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved}) {
        connect(this, changed, this, &TranscriptModel::countChanged);
        connect(&m_lines, changed, this, &TranscriptModel::countChanged);
    }
    m_lines.setLines(*model.transcript);
    m_watch = model.transcript.observe([this](LinesModel::Lines const& lines) { m_lines.setLines(lines); });
}

void TranscriptModel::setFilter(QString const& filter)
{
    if (filter == m_filter)
        return;
    m_filter = filter;
    invalidateFilter();
    Q_EMIT filterChanged();
    Q_EMIT countChanged();
}

bool TranscriptModel::filterAcceptsRow(int row, QModelIndex const& parent) const
{
    return m_filter == QStringLiteral("all")
        || m_lines.data(m_lines.index(row, 0, parent), LinesModel::DirectionRole).toString() == m_filter;
}

} // namespace lingrelay
