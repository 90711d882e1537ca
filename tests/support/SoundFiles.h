#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sndfile.h>

namespace lingrelay {

/// Frames of any number of channels, interleaved, as a file of one of libsndfile's formats.
inline void writeSound(std::string const& path, std::vector<float> const& frames, int rate = 16000, int channels = 1,
    int format = SF_FORMAT_WAV | SF_FORMAT_PCM_16)
{
    SF_INFO info{0, rate, channels, format, 0, 0};
    auto* const file = sf_open(path.c_str(), SFM_WRITE, &info);
    sf_writef_float(file, frames.data(), static_cast<sf_count_t>(frames.size()) / channels);
    sf_close(file);
}

/// The frames of a voice that the program has written.
inline std::vector<float> readVoice(std::string const& path)
{
    SF_INFO info{};
    auto* const file = sf_open(path.c_str(), SFM_READ, &info);
    EXPECT_TRUE(file && info.samplerate == 24000 && info.channels == 1) << path;
    std::vector<float> samples(static_cast<std::size_t>(info.frames));
    sf_readf_float(file, samples.data(), info.frames);
    sf_close(file);
    return samples;
}

} // namespace lingrelay
