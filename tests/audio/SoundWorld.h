#pragma once

#include "audio/AudioSource.h"
#include "platform/sim/SimSoundServer.h"
#include "tests/support/Tones.h"
#include "tests/support/World.h"

#include <string>
#include <vector>

namespace lingrelay {

/// A machine with speakers and a microphone, and what its sources hand over.
class SoundWorld {
public:
    void wait(double length) { world.time.advance(seconds(length)); }
    void watch(AudioSource& source)
    {
        source.onPCM = [this](std::string const& block, auto const&) {
            ++blocks;
            pcm += block;
        };
        source.onError = [this](std::string const& message) { errors.push_back(message); };
        source.onRecovered = [this] { ++recoveries; };
    }
    std::vector<float> heard() { return samplesOf(std::exchange(pcm, {})); }

    World world;
    SimSoundServer sound{world.background};
    SimSoundServer::Id speakers = sound.add({.name = "Speakers", .outputChannels = 2});
    SimSoundServer::Id mic = sound.add({.name = "Built-in Microphone", .inputChannels = 1, .builtIn = true});
    std::string pcm;
    int blocks = 0;
    std::vector<std::string> errors;
    int recoveries = 0;
};

} // namespace lingrelay
