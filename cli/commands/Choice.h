#pragma once

#include <string>
#include <string_view>

#include <fmt/format.h>

namespace lingrelay {

/// A word of the command line and what it stands for.
template <class T> struct Word {
    std::string_view text;
    T value;
};

/// Sets `value` to what `text` stands for; else one line for the user that names all words.
template <class T, std::size_t N>
std::string choose(std::string_view option, std::string_view text, Word<T> const (&words)[N], T& value)
{
    std::string known;
    for (auto const& word : words) {
        if (word.text == text) {
            value = word.value;
            return {};
        }
        known += (known.empty() ? "" : &word == &words[N - 1] ? " or " : ", ") + std::string(word.text);
    }
    return fmt::format("{} takes {}, not \"{}\"", option, known, text);
}

} // namespace lingrelay
