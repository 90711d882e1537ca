#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// Text in the cells of a terminal: East Asian and emoji characters take two, combining ones none. UTF-8; any thread.

/// Cells that the text takes.
int columnsOf(std::string_view text);

/// Without control characters, which could drive the terminal: each becomes a blank.
std::string printable(std::string_view text);

/// Rows of at most `columns` cells, broken at blanks and beside wide characters, and inside words that are longer.
std::vector<std::string> wrap(std::string_view text, int columns);

/// The text, or its beginning with "…" behind it, in at most `columns` cells.
std::string shortened(std::string_view text, int columns);

} // namespace lingrelay
