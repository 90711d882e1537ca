// Messages of the synthesis, one a line.

#include "fuzz/Target.h"
#include "speech/SonioxTTS.h"
#include "tests/support/World.h"

namespace lingrelay {

namespace {

Task<void> stream(SonioxTTS& tts, bool& ended)
{
    std::size_t bytes = 0;
    SonioxTTS::OnAudio const onAudio = [&bytes](std::string const& pcm) { bytes += pcm.size(); };
    auto const outcome = co_await tts.stream("Hola.", "es", "Maya", 1.0, onAudio);
    fuzzExpect(!outcome || !outcome->message.empty());
    ended = true;
}

void run(std::string_view input)
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

FuzzTarget const target("synthesis", run);

} // namespace

} // namespace lingrelay
