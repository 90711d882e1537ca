#include "service/engines/SpeechDetector.h"

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

#include <pocketsphinx.h>
#include <sphinxbase/fe.h>

namespace lingrelay::service {

namespace {

constexpr int frameRoom = 256; ///< frames that were held back come out together when speech begins
constexpr int coefficients = 13;

} // namespace

struct SpeechDetector::FrontEnd {
    cmd_ln_t* options = nullptr;
    fe_t* frontEnd = nullptr;
    std::vector<mfcc_t> values = std::vector<mfcc_t>(static_cast<std::size_t>(frameRoom * coefficients));
    std::array<mfcc_t*, frameRoom> rows{};
};

SpeechDetector::SpeechDetector(int pauseMs) : m_frontEnd(std::make_unique<FrontEnd>())
{
    auto& own = *m_frontEnd;
    auto const pauseFrames = std::to_string(pauseMs / 10);
    // The features are those of the acoustic model; the threshold kept the fewest wrong words on recorded speech.
    own.options = cmd_ln_init(nullptr, fe_get_args(), FALSE, "-remove_silence", "yes", "-vad_postspeech",
        pauseFrames.c_str(), "-vad_threshold", "3.0", "-nfilt", "25", "-lowerf", "130", "-upperf", "6800", "-transform",
        "dct", "-lifter", "22", nullptr);
    own.frontEnd = own.options ? fe_init_auto_r(own.options) : nullptr;
    if (!own.frontEnd)
        throw std::runtime_error("the speech detector does not start");
    for (std::size_t i = 0; i < own.rows.size(); ++i)
        own.rows[i] = &own.values[i * coefficients];
    fe_start_stream(own.frontEnd);
    fe_start_utt(own.frontEnd);
}

SpeechDetector::~SpeechDetector()
{
    fe_free(m_frontEnd->frontEnd);
    cmd_ln_free_r(m_frontEnd->options);
}

bool SpeechDetector::speech(std::span<std::int16_t const> block)
{
    auto const* samples = block.data();
    std::size_t left = block.size();
    while (left > 0) {
        int32 frames = frameRoom;
        auto const before = left;
        fe_process_frames(m_frontEnd->frontEnd, &samples, &left, m_frontEnd->rows.data(), &frames, nullptr);
        if (left == before)
            break;
    }
    return fe_get_vad_state(m_frontEnd->frontEnd) != 0;
}

} // namespace lingrelay::service
