#pragma once

#include <cstdint>
#include <string>

namespace lingrelay::service {

/// A word of the recogniser: lower case, no blanks. Times in milliseconds from the stream's start.
struct SpokenWord {
    std::string text;
    std::int64_t startMs = 0;
    std::int64_t endMs = 0;
    double confidence = 0;

    bool operator==(SpokenWord const&) const = default;
};

} // namespace lingrelay::service
