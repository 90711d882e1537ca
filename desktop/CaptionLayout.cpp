#include "desktop/CaptionLayout.h"

#include "base/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

namespace lingrelay {

namespace {

constexpr double defaultWidth = 760;
constexpr double defaultHeight = 150;
constexpr double sideMargins = 40;
constexpr double lowestStatusHeight = 96; ///< of a panel with a status row

} // namespace

CaptionLayout::CaptionLayout(double width, double height)
    : m_width(width)
    , m_height(height)
    , m_scale(std::clamp(std::min(height / defaultHeight, width / defaultWidth * 1.5), 0.55, 1.6))
{
}

double CaptionLayout::wrapWidth() const { return std::max(m_width - sideMargins, 60.0); }
int CaptionLayout::originalSize() const { return static_cast<int>(std::lround(m_scale * 17)); }
int CaptionLayout::translationSize() const { return static_cast<int>(std::lround(m_scale * 26)); }
int CaptionLayout::speakSize() const { return static_cast<int>(std::lround(m_scale * 18)); }
bool CaptionLayout::showsStatus() const { return m_height >= lowestStatusHeight; }

CaptionLayout::Rows CaptionLayout::rows() const
{
    double const lineHeight = translationSize() * 1.25;
    double const statusRow = showsStatus() ? 20 : 0;
    int const total = static_cast<int>((m_height - 16 - statusRow) / lineHeight);
    if (total < 2)
        return {0, 1, 0};
    if (total < 4)
        return {1, total - 1, 0};
    return {total / 4, total / 2, total / 4};
}

int CaptionLayout::capacity(int fontSize, int rows) const
{
    double const characterWidth = fontSize * 0.5; // near enough for prose in most scripts
    return std::max(static_cast<int>((m_width - sideMargins) / characterWidth), 8) * rows;
}

std::string CaptionLayout::tail(std::string_view text, int limit)
{
    if (limit < 1)
        return {};
    auto const most = static_cast<std::size_t>(limit);
    if (text.size() <= most) // no character is shorter than a byte
        return std::string(text);
    CharacterText characters;
    characters.append(text);
    if (characters.count() <= most)
        return std::string(text);
    characters.keepLast(most);
    auto kept = characters.text();
    if (auto const blank = kept.find(' '); blank != kept.npos)
        kept.remove_prefix(blank + 1); // no word is shown cut
    return "…" + std::string(kept);
}

Rect CaptionLayout::defaultFrame(Rect const& screen)
{
    double const bottom = screen.y + screen.height - 0.12 * screen.height;
    return {screen.x + screen.width / 2 - defaultWidth / 2, bottom - defaultHeight, defaultWidth, defaultHeight};
}

bool CaptionLayout::frameIsOnScreen(Rect const& frame, std::vector<Rect> const& screens)
{
    return frame.width >= minimumWidth && frame.height >= minimumHeight
        && std::any_of(screens.begin(), screens.end(), [&](Rect const& screen) { return frame.intersects(screen); });
}

std::string CaptionLayout::text(Rect const& frame)
{
    return fmt::format("{{{{{}, {}}}, {{{}, {}}}}}", frame.x, frame.y, frame.width, frame.height);
}

Rect CaptionLayout::frame(std::string_view text)
{
    std::array<double, 4> numbers{};
    for (auto& number : numbers) {
        auto const start = text.find_first_of("-0123456789");
        if (start == text.npos)
            return {};
        text.remove_prefix(start);
        auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc())
            return {};
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

} // namespace lingrelay
