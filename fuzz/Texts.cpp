// Text that is cut, and what the local service is sent.

#include "base/Text.h"
#include "desktop/CaptionLayout.h"
#include "fuzz/Target.h"
#include "service/engines/Sentences.h"
#include "service/engines/Summary.h"
#include "service/script/Script.h"
#include "service/wire/SessionBook.h"
#include "service/wire/SttConfig.h"

namespace lingrelay {

namespace {

using namespace service;

/// Text that is cut: for captions, into characters, words and sentences, and for a recap.
void segmentation(std::string_view input)
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

/// What the local service is sent: configurations and requests, one a line; and its script.
void service(std::string_view input)
{
    Instant now{};
    Date const date{};
    SessionBook book("T", {});
    for (auto const& line : fuzzLines(input)) {
        auto request = parseJson(line).value_or(Json());
        auto const config = SttConfig::parse(request, {"es", "fr"}, {});
        if (auto const* const accepted = std::get_if<SttConfig>(&config))
            fuzzExpect(accepted->sampleRate > 0 && accepted->pauseMs > 0);
        for (bool const known : {false, true}) {
            if (known && request.is_object())
                request["client_token"] = "T";
            for (auto const& answer : {book.start(request, now, date), book.tick(request, now, date),
                     book.balance(request), book.end(request, now)}) {
                fuzzExpect(answer.is_object());
                fuzzExpect(book.authorized(request) || answer.contains("code"));
                if (auto const left = jsonInteger(answer, "remaining_seconds"))
                    fuzzExpect(*left >= 0);
            }
        }
        now += std::chrono::minutes(1);
    }
    auto const script = Script::parse(input);
    fuzzExpect(script || !script.error().message.empty());
}

FuzzTarget const targets[] = {{"segmentation", segmentation}, {"service", service}};

} // namespace

} // namespace lingrelay
