#include "cli/terminal/TerminalView.h"

#include "cli/terminal/TextLayout.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr auto clearRowEnd = "\x1b[K";
constexpr auto clearBelow = "\x1b[J";
constexpr int narrowestBar = 6;
constexpr int widestBar = 30;

std::string up(std::size_t rows) { return rows == 0 ? "" : fmt::format("\x1b[{}A", rows); }
std::string down(std::size_t rows) { return rows == 0 ? "" : fmt::format("\x1b[{}B", rows); }

std::string clock(double seconds)
{
    auto const whole = static_cast<std::int64_t>(seconds);
    if (whole >= 3600)
        return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
    return fmt::format("{:02}:{:02}", whole / 60, whole % 60);
}

} // namespace

TerminalView::TerminalView(Colours colours, Size size) : m_colours(colours), m_size(size) { }

std::string TerminalView::caption(CaptionKind kind, std::string const& text)
{
    (kind == CaptionKind::original ? m_original : m_translation) = printable(text);
    return draw({});
}

std::string TerminalView::line(AppModel::Line const& line)
{
    Rows rows;
    auto const label = line.speaker.empty() ? "" : "Speaker " + printable(line.speaker) + ": ";
    auto const source = printable(line.source);
    if (!source.empty())
        addWrapped(rows, label + source, Style::dim);
    addWrapped(rows, (source.empty() ? label : "") + printable(line.translation), Style::bright);
    rows.emplace_back();
    if (m_original == source || source.empty())
        m_original.clear();
    m_translation.clear();
    return draw(rows);
}

std::string TerminalView::status(AppModel::StatusKind kind, std::string const& text)
{
    using Kind = AppModel::StatusKind;
    m_status = printable(text);
    bool const notice = kind == Kind::warning || kind == Kind::error;
    // A failing connection reports the same again at each attempt; once is enough above the live rows.
    if (!notice || m_lastNotice == m_status)
        return draw({});
    m_lastNotice = m_status;
    Rows rows;
    addWrapped(rows, m_status, kind == Kind::error ? Style::error : Style::warning);
    return draw(rows);
}

std::string TerminalView::progress(double position, double length)
{
    m_position = position;
    m_length = length;
    return draw({});
}

std::string TerminalView::resize(Size size)
{
    // The terminal has wrapped the rows anew, so they may stand on more rows than were drawn.
    std::size_t tall = 0;
    for (auto const& row : m_drawn)
        tall += static_cast<std::size_t>(
            std::max(1, (columnsOf(row.text) + size.columns - 1) / std::max(1, size.columns)));
    std::string bytes = m_drawn.empty() ? "" : "\r" + up(tall - 1) + clearBelow;
    m_drawn.clear();
    m_size = size;
    return bytes + draw({});
}

std::string TerminalView::finish()
{
    auto bytes = toTop() + (m_drawn.empty() ? "" : clearBelow);
    m_drawn.clear();
    return bytes;
}

void TerminalView::addWrapped(Rows& rows, std::string const& text, Style style) const
{
    // The last column stays free: a full row would leave the cursor in a place that terminals disagree on.
    for (auto& row : wrap(text, std::max(2, m_size.columns - 1)))
        rows.push_back({std::move(row), style});
}

TerminalView::Rows TerminalView::liveRows() const
{
    Rows rows;
    addWrapped(rows, m_original, Style::dim);
    addWrapped(rows, m_translation, Style::bright);
    // What scrolls off the top can no longer be rewritten, so only the newest rows are live.
    auto const most = static_cast<std::size_t>(std::max(1, m_size.rows - 2));
    if (rows.size() > most)
        rows.erase(rows.begin(), rows.end() - static_cast<std::ptrdiff_t>(most));
    rows.push_back({progressRow(std::max(2, m_size.columns - 1)), Style::plain});
    return rows;
}

std::string TerminalView::progressRow(int columns) const
{
    auto const share = m_length > 0 ? std::clamp(m_position / m_length, 0.0, 1.0) : 0;
    auto const left = m_length > 0 ? fmt::format("{} / {} {:3.0f}%", clock(m_position), clock(m_length), share * 100)
        : m_position > 0           ? clock(m_position)
                                   : "";
    auto const room = columns - columnsOf(left) - columnsOf(m_status) - 4;
    std::string bar;
    if (m_length > 0 && room >= narrowestBar) {
        auto const cells = std::min(room, widestBar);
        auto const full = static_cast<int>(share * cells + 0.5);
        for (int cell = 0; cell < cells; ++cell)
            bar += cell < full ? "━" : "─";
        bar = "  " + bar;
    }
    return shortened(left + bar + (left.empty() ? "" : "  ") + m_status, columns);
}

std::string TerminalView::draw(Rows const& finished)
{
    auto const live = liveRows();
    std::string bytes;
    if (finished.empty() && !m_drawn.empty()) {
        bytes = changed(live);
    } else {
        bytes = toTop();
        for (auto const& row : finished)
            bytes += shown(row) + clearRowEnd + "\r\n";
        for (std::size_t i = 0; i < live.size(); ++i)
            bytes += (i == 0 ? "" : "\r\n") + shown(live[i]) + clearRowEnd;
        if (finished.size() + live.size() < m_drawn.size())
            bytes += clearBelow;
    }
    m_drawn = live;
    return bytes;
}

/// Brings the drawn rows to `live`, touching only those that differ.
std::string TerminalView::changed(Rows const& live) const
{
    std::string bytes;
    auto cursor = m_drawn.size() - 1;
    for (std::size_t i = 0; i < live.size(); ++i) {
        if (i < m_drawn.size() && live[i] == m_drawn[i])
            continue;
        // Rows that do not exist yet are made by a line feed at the bottom; others are reached by moving.
        if (i >= m_drawn.size()) {
            bytes += down(m_drawn.size() - 1 > cursor ? m_drawn.size() - 1 - cursor : 0) + "\r\n";
        } else {
            bytes += (i < cursor ? up(cursor - i) : down(i - cursor)) + "\r";
        }
        bytes += shown(live[i]) + clearRowEnd;
        cursor = i;
    }
    auto const last = live.size() - 1;
    bytes += last < cursor ? up(cursor - last) : down(last - cursor);
    if (live.size() < m_drawn.size())
        bytes += "\r" + shown(live[last]) + clearBelow;
    return bytes;
}

std::string TerminalView::shown(Row const& row) const
{
    if (m_colours == Colours::none || row.style == Style::plain || row.text.empty())
        return row.text;
    auto const* code = row.style == Style::dim ? "2"
        : row.style == Style::bright           ? "1"
        : row.style == Style::warning          ? "33"
                                               : "31";
    return fmt::format("\x1b[{}m{}\x1b[0m", code, row.text);
}

std::string TerminalView::toTop() const { return m_drawn.empty() ? "" : "\r" + up(m_drawn.size() - 1); }

} // namespace lingrelay
