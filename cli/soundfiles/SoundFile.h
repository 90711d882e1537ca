#pragma once

#include "audio/Resampler.h"
#include "base/Result.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sf_private_tag;

namespace lingrelay {

/// A sound file read piece by piece as mono at 16 kHz, the recogniser's rate: any rate, any number of channels (their
/// average) and any format that libsndfile knows. The file is never held whole; a pipe is first copied into a file
/// without a name, since only that can be read again after a reconnect. One thread.
class SoundFile {
public:
    static constexpr std::int64_t rate = 16000;

    /// The error tells what is wrong with the file, for the user. `stopped` ends the wait for what comes out of a pipe.
    static Result<SoundFile> open(std::filesystem::path const& path, std::function<bool()> const& stopped = {});

    /// Length at 16 kHz, as the file declares it; 0: it does not say.
    std::int64_t length() const { return m_length; }
    double seconds() const { return static_cast<double>(m_length) / static_cast<double>(rate); }

    /// The next `count` samples; fewer only at the end of the file.
    std::vector<float> read(std::size_t count);
    /// The next sample read is `position` (at 16 kHz). False when the file cannot go there.
    bool seek(std::int64_t position);
    /// After the last sample: why that cannot have been all, or not what the file held at first.
    std::optional<Error> damage() const;

private:
    struct Close {
        void operator()(sf_private_tag* file) const;
    };

    SoundFile() = default;
    bool readMore();

    std::string m_name;
    std::unique_ptr<sf_private_tag, Close> m_file;
    std::int64_t m_channels = 1;
    std::int64_t m_fileRate = rate;
    std::int64_t m_length = 0;
    int m_descriptor = -1; ///< of m_file
    std::int64_t m_bytes = 0; ///< of the whole file, when it was opened
    std::int64_t m_promised = 0; ///< frames, by its header; 0: it does not say
    std::int64_t m_frame = 0; ///< the next one to be read
    bool m_ended = false;
    std::optional<Resampler> m_resampler; ///< none at 16 kHz
    std::vector<float> m_frames; ///< as in the file
    std::vector<float> m_mono;
    std::vector<float> m_ready; ///< at 16 kHz, from m_readyStart on
    std::size_t m_readyStart = 0;
};

} // namespace lingrelay
