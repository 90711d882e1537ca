// Text that is cut: for captions, into characters, words and sentences, and for a recap.

#include "base/Text.h"
#include "desktop/CaptionLayout.h"
#include "fuzz/Target.h"
#include "service/Sentences.h"
#include "service/Summary.h"

namespace lingrelay {

namespace {

void run(std::string_view input)
{
    if (input.empty())
        return;
    auto const limit = static_cast<unsigned char>(input.front());
    auto const text = input.substr(1);
    auto const tail = CaptionLayout::tail(text, limit);
    fuzzExpect(isUtf8(tail) || !isUtf8(text));
    fuzzExpect(limit == 0 || !isUtf8(text) || characterCount(tail) <= limit + 1U);
    CharacterText characters;
    characters.append(text.substr(0, text.size() / 2));
    characters.append(text.substr(text.size() / 2));
    fuzzExpect(characters.trimmedCount() <= characters.count());
    characters.keepLast(limit);
    fuzzExpect(characters.count() <= limit);
    for (auto const& word : wordsOf(text))
        fuzzExpect(!word.empty());
    std::size_t length = 0;
    for (auto const sentence : SentenceCutter("en").sentences(text))
        length += sentence.size();
    fuzzExpect(length <= text.size());
    for (auto const style : {SummaryStyle::brief, SummaryStyle::full})
        summarize(text, style, "en");
}

FuzzTarget const target("segmentation", run);

} // namespace

} // namespace lingrelay
