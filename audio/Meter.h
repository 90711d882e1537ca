#pragma once

#include <string_view>

namespace lingrelay {

/// Turns 16-bit PCM into a level for the interface and the echo guard. One thread at a time.
class Meter {
public:
    /// The level after this buffer, 0 to 1. Every fourth sample is looked at. An empty buffer is silence.
    double feed(std::string_view pcm);

private:
    double m_value = 0;
    double m_decay = 0.72;
};

} // namespace lingrelay
