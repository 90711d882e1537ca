// What the provider and the backend send.

#include "base/Text.h"
#include "fuzz/Target.h"
#include "speech/SonioxStream.h"
#include "speech/SonioxTTS.h"
#include "tests/support/World.h"
#include "text/Summarizer.h"
#include "text/TextTranslator.h"

namespace lingrelay {

namespace {

/// Messages of the recogniser, one a line.
void recogniser(std::string_view input)
{
    World world;
    auto const stream = SonioxStream::create(world.network, world.streamScheduler, "en", "es", 16000);
    stream->diarization = stream->twoWay = true;
    for (auto* heard : {&stream->onOriginal, &stream->onTranslation})
        *heard = [](std::string const& text, bool) { fuzzExpect(isUtf8(text)); };
    stream->onError = [](std::string const& message) { fuzzExpect(isUtf8(message)); };
    stream->connect();
    world.time.advance(seconds(0.1));
    for (auto& message : fuzzLines(input)) {
        world.network.peers().back()->sendText(std::move(message));
        world.time.advance(seconds(0.1));
    }
    stream->finish();
    world.time.advance(seconds(2));
    stream->stop();
    world.time.advance(seconds(1));
}

Task<void> stream(SonioxTTS& tts, bool& ended)
{
    std::size_t bytes = 0;
    SonioxTTS::OnAudio const onAudio = [&bytes](std::string const& pcm) { bytes += pcm.size(); };
    auto const outcome = co_await tts.stream("Hola.", "es", "Maya", 1.0, onAudio);
    fuzzExpect(!outcome || !outcome->message.empty());
    ended = true;
}

/// Messages of the synthesis, one a line.
void synthesis(std::string_view input)
{
    World world;
    SonioxTTS tts(world.network);
    bool ended = false;
    TaskGroup tasks(world.main);
    tasks.spawn(stream(tts, ended));
    world.time.advance(seconds(0.1));
    for (auto& message : fuzzLines(input)) {
        if (ended)
            break;
        world.network.peers().back()->sendText(std::move(message));
        world.time.advance(seconds(0.1));
    }
    if (!ended)
        world.network.peers().back()->close(1000);
    world.time.advance(seconds(1));
    fuzzExpect(ended);
    tasks.cancel();
    world.time.runReady();
}

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

/// Answers of the backend, one a line; to the start of a session, its reports, a recap and a translation.
void backend(std::string_view input)
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

FuzzTarget const targets[] = {{"recogniser", recogniser}, {"synthesis", synthesis}, {"backend", backend}};

} // namespace

} // namespace lingrelay
