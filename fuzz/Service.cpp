// What the local service is sent: configurations and requests, one a line; and its script.

#include "fuzz/Target.h"
#include "service/Script.h"
#include "service/SessionBook.h"
#include "service/SttConfig.h"

namespace lingrelay {

namespace {

void run(std::string_view input)
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
        SessionBook::Plan::parse(request);
        now += std::chrono::minutes(1);
    }
    auto const script = Script::parse(input);
    fuzzExpect(script || !script.error().message.empty());
}

FuzzTarget const target("service", run);

} // namespace

} // namespace lingrelay
