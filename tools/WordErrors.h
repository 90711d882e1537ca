#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// Word error rate: how far recognised speech is from what was said, by the cheapest word-by-word alignment. Any
/// thread.
struct WordErrors {
    std::size_t words = 0; ///< in the reference
    std::size_t substitutions = 0;
    std::size_t deletions = 0; ///< said, not recognised
    std::size_t insertions = 0; ///< recognised, not said

    std::size_t errors() const { return substitutions + deletions + insertions; }
    /// 0 is perfect; above 1 when more is wrong than was said. 0 without a reference.
    double rate() const { return words == 0 ? 0 : static_cast<double>(errors()) / static_cast<double>(words); }

    bool operator==(WordErrors const&) const = default;
};

/// What was said in one recording.
struct Utterance {
    std::string id;
    std::vector<std::string> words;
};

/// Lower-case words without punctuation; "don't" is one word.
std::vector<std::string> plainWords(std::string_view text);

/// Lines of `<s> words </s> (id)`; a line of any other form is an utterance without an id.
std::vector<Utterance> parseReference(std::string_view text);

/// The words of the source language in a transcript: the stored JSON form, the text form with its "[12:34:56] ..."
/// headings, or else plain text. Nothing when it begins like JSON and is not a transcript.
std::optional<std::vector<std::string>> parseHypothesis(std::string_view text);

/// One result for each utterance. The utterances are aligned as one text, so the hypothesis needs no marks between
/// them; words too many count for the utterance before them.
std::vector<WordErrors> compareWords(
    std::vector<Utterance> const& reference, std::vector<std::string> const& hypothesis);

} // namespace lingrelay
