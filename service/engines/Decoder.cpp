#include "service/engines/Decoder.h"

#include <string_view>
#include <utility>

#include <pocketsphinx.h>
#include <sphinxbase/feat.h>

namespace lingrelay::service {

namespace {

/// "read(2)" is the second way to say "read"; "<sil>" and "[NOISE]" are not words.
std::string plainWord(std::string_view text)
{
    if (text.empty() || text.starts_with('<') || text.starts_with('[') || text.starts_with("++"))
        return {};
    return std::string(text.substr(0, text.find('(')));
}

} // namespace

Decoder::Decoder(std::string const& folder)
{
    auto const model = folder + "/en-us/";
    // One pass and no noise model: the second passes of this model made more mistakes on recorded speech, not fewer.
    m_options = cmd_ln_init(nullptr, ps_args(), FALSE, "-hmm", (model + "en-us").c_str(), "-lm",
        (model + "en-us.lm.bin").c_str(), "-dict", (model + "cmudict-en-us.dict").c_str(), "-fwdflat", "no",
        "-bestpath", "no", "-remove_silence", "no", "-maxhmmpf", "10000", nullptr);
    m_decoder = m_options ? ps_init(m_options) : nullptr;
}

Decoder::~Decoder()
{
    if (m_decoder)
        ps_free(m_decoder);
    if (m_options)
        cmd_ln_free_r(m_options);
}

void Decoder::start()
{
    stop();
    ps_start_stream(m_decoder);
    m_running = ps_start_utt(m_decoder) == 0;
}

void Decoder::add(std::span<std::int16_t const> sound)
{
    if (m_running)
        ps_process_raw(m_decoder, sound.data(), sound.size(), FALSE, FALSE);
}

void Decoder::stop()
{
    if (std::exchange(m_running, false))
        ps_end_utt(m_decoder);
}

std::vector<Decoder::Segment> Decoder::segments() const
{
    std::vector<Segment> result;
    for (auto* place = ps_seg_iter(m_decoder); place; place = ps_seg_next(place)) {
        int first = 0;
        int last = 0;
        ps_seg_frames(place, &first, &last);
        result.push_back({plainWord(ps_seg_word(place)), first, last + 1});
    }
    return result;
}

std::vector<Decoder::Segment> Decoder::decode(std::span<std::int16_t const> sound)
{
    start();
    // The guessing pass has switched the decoder to a running average of the sound; a whole utterance has its own.
    ps_get_feat(m_decoder)->cmn = CMN_BATCH;
    if (m_running)
        ps_process_raw(m_decoder, sound.data(), sound.size(), FALSE, TRUE);
    stop();
    return segments();
}

} // namespace lingrelay::service
