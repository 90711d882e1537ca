#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

struct cmd_ln_s;
struct ps_decoder_s;

namespace lingrelay::service {

/// One loaded speech model of pocketsphinx. Mono 16-bit sound at 16,000 samples a second. One thread at a time.
class Decoder {
public:
    /// A stretch of the result: a word or a silence. Frames of 10 ms.
    struct Segment {
        std::string text;
        int startFrame = 0;
        int endFrame = 0; ///< one past the last

        bool silence() const { return text.empty(); }
    };

    /// Loads the model "en-us" in `folder`, which takes half a second.
    explicit Decoder(std::string const& folder);
    ~Decoder();
    Decoder(Decoder const&) = delete;
    Decoder& operator=(Decoder const&) = delete;

    /// Whether the model could be loaded; nothing else may be called without it.
    bool good() const { return m_decoder != nullptr; }

    void start();
    void add(std::span<std::int16_t const> sound);
    void stop();
    /// What has been heard since `start`.
    std::vector<Segment> segments() const;
    /// A whole utterance at once.
    std::vector<Segment> decode(std::span<std::int16_t const> sound);

private:
    cmd_ln_s* m_options = nullptr;
    ps_decoder_s* m_decoder = nullptr;
    bool m_running = false;
};

} // namespace lingrelay::service
