#include "cli/Sound.h"

namespace lingrelay {

struct Sound::Parts {
    NoSound none;
};

Sound::Sound() : m_parts(std::make_unique<Parts>()) { }
Sound::~Sound() = default;

MachineSound Sound::machine() { return m_parts->none.parts(); }

bool Sound::connected() const { return true; }

} // namespace lingrelay
