#pragma once

#include <QAbstractListModel>

#include <unordered_set>
#include <vector>

namespace lingrelay {

/// Brings the rows of a list model to `wanted` by removing and inserting runs of rows, so that a view keeps its place.
/// Rows are told apart by `id`, of which `wanted` has each once.
template <class Row, class Id, class Remove, class Insert>
void syncRows(std::vector<Row>& rows, std::vector<Row> const& wanted, Id id, Remove remove, Insert insert)
{
    std::unordered_set<std::string> kept;
    for (auto const& row : wanted)
        kept.insert(id(row));
    auto const stays = [&](Row const& row) { return kept.contains(id(row)); };
    for (auto last = rows.size(); last > 0;) {
        if (stays(rows[last - 1])) {
            --last;
            continue;
        }
        auto first = last - 1;
        while (first > 0 && !stays(rows[first - 1]))
            --first;
        remove(first, last - first);
        last = first;
    }
    for (std::size_t at = 0; at < wanted.size();) {
        auto end = at;
        while (end < wanted.size() && (at >= rows.size() || id(rows[at]) != id(wanted[end])))
            ++end;
        if (end > at)
            insert(at, std::span(wanted).subspan(at, end - at));
        at = end + 1;
    }
    if (rows.size() > wanted.size()) // the order has changed
        remove(wanted.size(), rows.size() - wanted.size());
}

} // namespace lingrelay
