// Messages of the recogniser, one a line.

#include "base/Text.h"
#include "fuzz/Target.h"
#include "speech/SonioxStream.h"
#include "tests/support/World.h"

namespace lingrelay {

namespace {

void run(std::string_view input)
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

FuzzTarget const target("recogniser", run);

} // namespace

} // namespace lingrelay
