// Answers of the backend, one a line; to the start of a session, its reports, a recap and a translation.

#include "fuzz/Target.h"
#include "tests/support/World.h"
#include "text/Summarizer.h"
#include "text/TextTranslator.h"

namespace lingrelay {

namespace {

Task<void> ask(World& world, bool& ended)
{
    auto const failure = co_await world.hosted.start();
    fuzzExpect(!failure || !failure->message.empty());
    auto const recap = co_await Summarizer::summarize("THEM: words", "es", "caller", "brief");
    fuzzExpect(recap || !recap.error().message.empty());
    auto const translated = co_await TextTranslator::translate("words", "en", "es", "caller");
    fuzzExpect(translated || !translated.error().message.empty());
    ended = true;
}

void run(std::string_view input)
{
    World world;
    auto answers = fuzzLines(input);
    std::size_t next = 0;
    world.network.onExchange = [&](SimExchange const& exchange) {
        auto const body = next < answers.size() ? answers[next++] : "{}";
        // The first character says with which status it comes.
        auto const status = body.starts_with('4') ? 403 : body.starts_with('5') ? 503 : 200;
        exchange.answer(HttpResponse{status, {}, status == 200 ? body : body.substr(1)});
    };
    bool ended = false;
    TaskGroup tasks(world.main);
    tasks.spawn(ask(world, ended));
    world.time.advance(seconds(150));
    fuzzExpect(ended);
    HostedSession::format(world.hosted.remainingSeconds());
    world.hosted.end();
    world.time.advance(seconds(1));
    tasks.cancel();
    world.time.runReady();
}

FuzzTarget const target("backend", run);

} // namespace

} // namespace lingrelay
