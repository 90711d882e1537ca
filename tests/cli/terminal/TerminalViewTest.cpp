#include "cli/terminal/TerminalView.h"

#include "cli/terminal/TextLayout.h"

#include <random>
#include <set>

using namespace lingrelay;
using Kind = AppModel::StatusKind;

namespace {

/// The least of a terminal: rows of cells, wrapping at the last column, scrolling, and the sequences that are in use.
class Screen {
public:
    Screen(int columns, int rows) : m_columns(columns), m_height(rows)
    {
        m_rows.resize(static_cast<std::size_t>(rows));
    }

    void write(std::string_view bytes)
    {
        for (std::size_t i = 0; i < bytes.size();) {
            if (bytes[i] == '\x1b') {
                auto const end = bytes.find_first_of("ABKJmHh", i);
                ASSERT_NE(end, std::string_view::npos);
                control(bytes[end], bytes.substr(i + 2, end - i - 2));
                i = end + 1;
                continue;
            }
            std::size_t next = i + 1;
            while (next < bytes.size() && (static_cast<unsigned char>(bytes[next]) & 0xC0) == 0x80)
                ++next;
            put(bytes.substr(i, next - i));
            i = next;
        }
    }

    /// All rows with their text, those that scrolled away first, without empty ones at the end.
    std::vector<std::string> text() const
    {
        auto all = m_gone;
        for (auto const& row : m_rows) {
            std::string joined;
            for (auto const& cell : row)
                joined += cell;
            joined.erase(joined.find_last_not_of(' ') + 1);
            all.push_back(joined);
        }
        while (!all.empty() && all.back().empty())
            all.pop_back();
        return all;
    }
    /// Rows written to since the last call.
    std::set<int> touched() { return std::exchange(m_touched, {}); }

private:
    void put(std::string_view character)
    {
        if (character == "\r") {
            m_column = 0;
        } else if (character == "\n") {
            lineFeed();
        } else {
            int const width = columnsOf(character);
            if (m_column + width > m_columns) {
                m_column = 0;
                lineFeed();
            }
            auto& row = m_rows[static_cast<std::size_t>(m_row)];
            row.resize(std::max(row.size(), static_cast<std::size_t>(m_column + width)), " ");
            row[static_cast<std::size_t>(m_column)] = character;
            for (int i = 1; i < width; ++i)
                row[static_cast<std::size_t>(m_column + i)] = "";
            m_column += width;
            m_touched.insert(m_row);
        }
    }
    void lineFeed()
    {
        if (m_row + 1 < m_height) {
            ++m_row;
            return;
        }
        std::string joined;
        for (auto const& cell : m_rows.front())
            joined += cell;
        m_gone.push_back(joined);
        m_rows.pop_front();
        m_rows.emplace_back();
    }
    void control(char kind, std::string_view argument)
    {
        int const count = argument.empty() ? 1 : std::stoi(std::string(argument));
        auto& row = m_rows[static_cast<std::size_t>(m_row)];
        if (kind == 'A')
            m_row = std::max(0, m_row - count);
        else if (kind == 'B')
            m_row = std::min(m_height - 1, m_row + count);
        else if (kind != 'm' && row.size() > static_cast<std::size_t>(m_column))
            row.resize(static_cast<std::size_t>(m_column));
        if (kind == 'J') {
            for (auto below = m_row + 1; below < m_height; ++below)
                m_rows[static_cast<std::size_t>(below)].clear();
        }
    }

    int m_columns;
    int m_height;
    int m_row = 0;
    int m_column = 0;
    std::set<int> m_touched;
    std::deque<std::vector<std::string>> m_rows;
    std::vector<std::string> m_gone;
};

AppModel::Line line(std::string source, std::string translation, std::string speaker = {})
{
    return {"", {}, AppModel::Direction::listen, std::move(source), std::move(translation), std::move(speaker)};
}

TEST(TextLayoutTest, wrapsAtBlanksWideCharactersAndInsideLongWords)
{
    using Rows = std::vector<std::string>;
    EXPECT_EQ(wrap("the quick brown fox", 10), (Rows{"the quick", "brown fox"}));
    EXPECT_EQ(wrap("abcdefghijkl mn", 5), (Rows{"abcde", "fghij", "kl mn"}));
    EXPECT_EQ(wrap("今日は良い天気です", 7), (Rows{"今日は", "良い天", "気です"}));
    EXPECT_EQ(wrap("go 今日は", 5), (Rows{"go 今", "日は"}));
    EXPECT_EQ(wrap("", 5), Rows{});
    EXPECT_EQ(columnsOf("e\u0301日"), 3);
    EXPECT_EQ(printable("a\x1b[2Jb\u009Bc\n\xFF"), "a [2Jb c �");
    EXPECT_EQ(shortened("abcdef", 4), "abc…");
    EXPECT_EQ(shortened("今日は", 4), "今…");
}

TEST(TerminalViewTest, finishedClausesStandAndOnlyTheUnfinishedIsRewritten)
{
    Screen screen(40, 12);
    TerminalView view(TerminalView::Colours::ansi, {40, 12});
    screen.write(view.status(Kind::live, "● ready"));
    screen.write(view.progress(1, 10));
    screen.write(view.caption(CaptionKind::original, "Good mor"));
    screen.write(view.caption(CaptionKind::translation, "Buenos"));
    screen.write(view.line(line("Good morning.", "Buenos días.", "1")));
    screen.touched();
    screen.write(view.caption(CaptionKind::original, "How are"));
    screen.write(view.caption(CaptionKind::translation, "Cómo"));
    auto const rows = screen.text();
    ASSERT_EQ(rows.size(), 6U);
    EXPECT_EQ(rows[0], "Speaker 1: Good morning.");
    EXPECT_EQ(rows[1], "Buenos días.");
    EXPECT_EQ(rows[3], "How are");
    EXPECT_EQ(rows[4], "Cómo");
    EXPECT_TRUE(rows[5].starts_with("00:01 / 00:10  10%") && rows[5].ends_with("● ready")) << rows[5];
    for (int const row : screen.touched())
        EXPECT_GE(row, 3);
    screen.write(view.caption(CaptionKind::translation, "Cómo está"));
    EXPECT_EQ(screen.touched(), std::set<int>{4});
    screen.write(view.progress(2, 10));
    EXPECT_EQ(screen.touched(), std::set<int>{5});
    screen.write(view.finish());
    EXPECT_EQ(screen.text(), (std::vector<std::string>{"Speaker 1: Good morning.", "Buenos días."}));
}

TEST(TerminalViewTest, anErrorIsPrintedOnceHoweverOftenItComes)
{
    Screen screen(60, 12);
    TerminalView view(TerminalView::Colours::ansi, {60, 12});
    for (int i = 0; i < 3; ++i) {
        screen.write(view.status(Kind::error, "⚠ Speech service: 401 bad key"));
        screen.write(view.status(Kind::connecting, "↻ reconnecting…"));
    }
    EXPECT_EQ(screen.text(), (std::vector<std::string>{"⚠ Speech service: 401 bad key", "↻ reconnecting…"}));
}

/// Whatever comes, every finished clause is on the terminal once and in order, above at most one live part.
TEST(TerminalViewTest, anySequenceOfPreviewsLeavesEveryFinishedClauseOnceInOrder)
{
    char const* const words[] = {"alpha", "beta", "gamma", "今日は", "delta", "extraordinarily", "z", "\x1b[2J"};
    for (unsigned seed = 0; seed < 60; ++seed) {
        std::mt19937 random(seed);
        int const columns = 12 + static_cast<int>(random() % 50);
        int const height = 4 + static_cast<int>(random() % 20);
        Screen screen(columns, height);
        TerminalView view(random() % 2 ? TerminalView::Colours::ansi : TerminalView::Colours::none, {columns, height});
        auto const phrase = [&] {
            std::string text;
            for (auto count = random() % 14; count > 0; --count)
                text += (text.empty() ? "" : " ") + std::string(words[random() % std::size(words)]);
            return text;
        };
        std::string expected;
        for (int step = 0; step < 150; ++step) {
            auto const kind = random() % 6;
            if (kind < 2)
                screen.write(view.caption(CaptionKind::original, phrase()));
            else if (kind < 4)
                screen.write(view.caption(CaptionKind::translation, phrase()));
            else if (kind == 4)
                screen.write(view.progress(static_cast<double>(step), 150));
            else {
                auto const source = phrase();
                auto const translation = fmt::format("#{} ", step) + phrase();
                screen.write(view.line(line(source, translation)));
                expected += printable(source) + printable(translation);
            }
        }
        screen.write(view.finish());
        std::string shown;
        for (auto const& row : screen.text())
            shown += row;
        auto const bare = [](std::string text) {
            std::erase(text, ' ');
            return text;
        };
        ASSERT_EQ(bare(shown), bare(expected))
            << "seed " << seed << ", " << columns << " columns, " << height << " rows";
    }
}

TEST(TerminalViewTest, aNarrowerTerminalIsRedrawnWithoutLeftovers)
{
    TerminalView view(TerminalView::Colours::none, {40, 12});
    view.status(Kind::live, "● ready");
    view.caption(CaptionKind::original, "The quick brown fox jumps over");
    // The terminal has wrapped both live rows onto two each.
    Screen screen(20, 12);
    screen.write("The quick brown fox jumps over\r\n● ready");
    screen.write(view.resize({20, 12}));
    EXPECT_EQ(screen.text(), (std::vector<std::string>{"The quick brown fox", "jumps over", "● ready"}));
}

} // namespace
