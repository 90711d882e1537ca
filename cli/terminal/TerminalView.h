#pragma once

#include "model/AppModel.h"
#include "model/CaptionKind.h"

#include <string>
#include <vector>

namespace lingrelay {

/// Captions on a terminal: finished clauses scroll up and are never touched again; below them the unfinished words and
/// one row of progress are rewritten in place, row by row and only where they changed. Every member returns the bytes
/// to write. Pure: it knows the terminal by its size alone. One thread.
class TerminalView {
public:
    enum class Colours { none, ansi };
    struct Size {
        int columns = 80;
        int rows = 24;
    };

    TerminalView(Colours colours, Size size);

    std::string caption(CaptionKind kind, std::string const& text);
    std::string line(AppModel::Line const& line);
    std::string status(AppModel::StatusKind kind, std::string const& text);
    /// Seconds of the file that have been fed, and its length; a live session has none.
    std::string progress(double position, double length);
    std::string resize(Size size);
    /// Takes the live rows away; what is written next stands below the finished clauses.
    std::string finish();

private:
    enum class Style { plain, dim, bright, warning, error };
    struct Row {
        std::string text;
        Style style = Style::plain;

        bool operator==(Row const&) const = default;
    };
    using Rows = std::vector<Row>;

    void addWrapped(Rows& rows, std::string const& text, Style style) const;
    Rows liveRows() const;
    std::string progressRow(int columns) const;
    std::string draw(Rows const& finished);
    std::string changed(Rows const& live) const;
    std::string shown(Row const& row) const;
    std::string toTop() const;

    Colours m_colours;
    Size m_size;
    std::string m_original; ///< not yet part of a finished clause
    std::string m_translation;
    std::string m_status;
    std::string m_lastNotice; ///< the warning or error printed last
    double m_position = 0;
    double m_length = 0;
    Rows m_drawn; ///< live rows on the screen; the cursor stands in the last
};

} // namespace lingrelay
