#include "sessions/TextFilter.h"

#include <algorithm>
#include <bitset>
#include <functional>

namespace lingrelay {

namespace {

constexpr int classBits = 14;
constexpr std::size_t classes = std::size_t{1} << classBits;
constexpr std::size_t bitsAWord = 64;

} // namespace

TextFilter::Column::Column(std::shared_ptr<TextFilter> filter, std::string_view text)
    : m_filter(std::move(filter))
    , m_number(m_filter->add(text))
{
}

TextFilter::Column::~Column() { m_filter->m_free.push_back(m_number); }

TextFilter::Candidates TextFilter::candidates(std::string_view query) const
{
    std::vector<std::uint64_t> bits(m_width, ~std::uint64_t{0});
    for (auto const row : classesOf(query)) {
        auto const* const words = m_rows.data() + row * m_width;
        std::transform(bits.begin(), bits.end(), words, bits.begin(), std::bit_and());
    }
    return Candidates(std::move(bits));
}

/// Each class once.
std::vector<std::size_t> TextFilter::classesOf(std::string_view text)
{
    std::bitset<classes> seen;
    std::vector<std::size_t> found;
    for (std::size_t at = 2; at < text.size(); ++at) {
        auto const byte = [&](std::size_t back) { return std::uint32_t{static_cast<unsigned char>(text[at - back])}; };
        std::uint32_t const mixed = (byte(2) << 16 | byte(1) << 8 | byte(0)) * 2654435761U;
        std::size_t const row = mixed >> (32 - classBits);
        if (!seen[row])
            found.push_back(row);
        seen[row] = true;
    }
    return found;
}

std::size_t TextFilter::add(std::string_view text)
{
    auto column = m_used;
    if (!m_free.empty()) {
        column = m_free.back();
        m_free.pop_back();
        clear(column);
    } else if (m_used++ == m_width * bitsAWord) {
        widen();
    }
    for (auto const row : classesOf(text))
        m_rows[row * m_width + column / bitsAWord] |= std::uint64_t{1} << column % bitsAWord;
    return column;
}

void TextFilter::clear(std::size_t column)
{
    for (std::size_t row = 0; row < classes; ++row)
        m_rows[row * m_width + column / bitsAWord] &= ~(std::uint64_t{1} << column % bitsAWord);
}

void TextFilter::widen()
{
    auto const width = m_width + std::max<std::size_t>(m_width / 2, 1);
    std::vector<std::uint64_t> rows(classes * width);
    for (std::size_t row = 0; row < classes; ++row)
        std::copy_n(m_rows.data() + row * m_width, m_width, rows.data() + row * width);
    m_rows = std::move(rows);
    m_width = width;
}

} // namespace lingrelay
