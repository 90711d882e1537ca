#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lingrelay::service {

enum class SummaryStyle { brief, full };

/// "brief" or "full".
std::optional<SummaryStyle> summaryStyleOf(std::string_view name);

/// A recap made of the text's own sentences, word for word and in their order. Any thread; milliseconds.
///
/// The sentences are ranked by LexRank: those come first that share their telling words with many others that do.
/// What repeats a sentence that was taken already is passed over. It needs no knowledge of a language, and it neither
/// translates nor rewords.
///
/// A conversation has lines "SPEAKER: source → translation" or "SPEAKER: translation"; the translation counts.
/// `brief` gives three sentences, one a line. `full` gives, under each speaker's word in the order of appearance, three
/// to ten of theirs as a list; without speakers, so many sentences, one a line.
/// Of a text of more than 24,000 characters the end counts. `language` is the code of the text's language, which helps
/// to tell abbreviations from ends of sentences; any text does no harm.
std::string summarize(std::string_view text, SummaryStyle style, std::string const& language = {});

} // namespace lingrelay::service
