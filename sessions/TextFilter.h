#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace lingrelay {

/// Tells which of many texts cannot hold a query, from two kilobytes a text, and without touching the texts: reading
/// thousands of long texts takes as long as the memory is slow. For each of 16384 classes of three bytes in a row there
/// is a row of bits, one a text. One thread.
class TextFilter {
public:
    /// A text's own column in the rows; it is free for another one once this is gone.
    class Column {
    public:
        Column(std::shared_ptr<TextFilter> filter, std::string_view text);
        ~Column();
        Column(Column const&) = delete;
        Column& operator=(Column const&) = delete;

        std::size_t number() const { return m_number; }

    private:
        std::shared_ptr<TextFilter> m_filter;
        std::size_t m_number;
    };

    /// The texts, by the numbers of their columns, that may hold the query; all, when it is shorter than three bytes.
    class Candidates {
    public:
        explicit Candidates(std::vector<std::uint64_t> bits) : m_bits(std::move(bits)) { }
        bool has(std::size_t column) const { return (m_bits[column / 64] >> column % 64 & 1) != 0; }

    private:
        std::vector<std::uint64_t> m_bits;
    };
    Candidates candidates(std::string_view query) const;

private:
    static std::vector<std::size_t> classesOf(std::string_view text);
    std::size_t add(std::string_view text);
    void clear(std::size_t column);
    void widen();

    std::size_t m_width = 0; ///< of a row, in words
    std::size_t m_used = 0; ///< columns, the free ones included
    std::vector<std::size_t> m_free; ///< columns that hold what their last texts left
    std::vector<std::uint64_t> m_rows;
};

} // namespace lingrelay
