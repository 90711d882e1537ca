// A program that mutes the others and takes the default input, until it is killed: pipewire_victim STATE ADDITIONS
// GUARD

#include "platform/linux/pipewire/PipeWireSound.h"

#include <cstdio>

#include <unistd.h>

using namespace lingrelay;

int main(int, char** arguments)
{
    PipeWireSound sound({arguments[1], arguments[2], arguments[3]});
    if (auto const device = AudioDevices::virtualDevice(sound.devices().inputs()))
        sound.devices().setDefaultInput(device->id);
    auto const silence = sound.muter().silence();
    std::puts(std::holds_alternative<SoundMuter::Failure>(silence) ? "failed" : "ready");
    std::fflush(stdout);
    for (;;)
        ::pause();
}
