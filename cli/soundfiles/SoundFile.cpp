#include "cli/soundfiles/SoundFile.h"

#include <algorithm>

#include <fmt/format.h>
#include <sndfile.h>

namespace lingrelay {

namespace {

constexpr std::int64_t leastRate = 1000; ///< no speech is below, and few bytes would become hours of sound
constexpr std::int64_t mostRate = 1'000'000;
constexpr std::int64_t mostFrames = std::int64_t(1) << 40; ///< a stream that says no length claims more
constexpr std::int64_t readAtOnce = 8192; ///< samples of all channels

} // namespace

void SoundFile::Close::operator()(sf_private_tag* file) const { sf_close(file); }

Result<SoundFile> SoundFile::open(std::filesystem::path const& path)
{
    std::error_code error;
    auto const kind = std::filesystem::status(path, error);
    if (kind.type() == std::filesystem::file_type::not_found)
        return Error{Error::Kind::other, fmt::format("{}: there is no such file", path.string())};
    if (kind.type() != std::filesystem::file_type::regular)
        return Error{Error::Kind::other, fmt::format("{}: not a sound file", path.string())};

    SF_INFO info{};
    SoundFile sound;
    sound.m_file.reset(sf_open(path.c_str(), SFM_READ, &info));
    if (!sound.m_file)
        return Error{
            Error::Kind::other, fmt::format("{}: cannot be read as sound: {}", path.string(), sf_strerror(nullptr))};
    if (info.channels < 1 || info.samplerate < leastRate || info.samplerate > mostRate)
        return Error{Error::Kind::other, fmt::format("{}: not a usable sound file", path.string())};
    sound.m_channels = info.channels;
    sound.m_fileRate = info.samplerate;
    auto const frames = info.frames <= mostFrames ? info.frames : 0;
    sound.m_length = frames;
    if (info.samplerate != rate) {
        sound.m_resampler.emplace(info.samplerate, rate);
        sound.m_length = sound.m_resampler->outputCount(frames);
    }
    // The header may promise what is not there, so a first piece is read before anyone counts on it.
    if (info.frames < 1 || !sound.readMore())
        return Error{Error::Kind::other, fmt::format("{}: there is no sound in this file", path.string())};
    return sound;
}

std::vector<float> SoundFile::read(std::size_t count)
{
    while (m_ready.size() - m_readyStart < count && readMore()) { }
    auto const begin = m_ready.begin() + static_cast<std::ptrdiff_t>(m_readyStart);
    auto const taken = std::min(count, m_ready.size() - m_readyStart);
    std::vector<float> block(begin, begin + static_cast<std::ptrdiff_t>(taken));
    m_readyStart += taken;
    return block;
}

bool SoundFile::seek(std::int64_t position)
{
    auto const source = m_resampler ? std::max<std::int64_t>(0, m_resampler->firstInput(position)) : position;
    if (sf_seek(m_file.get(), source, SEEK_SET) < 0)
        return false;
    if (m_resampler)
        m_resampler->restart(position);
    m_ready.clear();
    m_readyStart = 0;
    m_ended = false;
    return true;
}

bool SoundFile::readMore()
{
    if (m_ended)
        return false;
    m_ready.erase(m_ready.begin(), m_ready.begin() + static_cast<std::ptrdiff_t>(std::exchange(m_readyStart, 0)));
    auto const wanted = std::max<std::int64_t>(1, readAtOnce / m_channels);
    m_frames.resize(static_cast<std::size_t>(wanted * m_channels));
    auto const frames = sf_readf_float(m_file.get(), m_frames.data(), wanted);
    m_ended = frames < 1;
    if (m_ended) {
        if (m_resampler)
            m_resampler->finish(m_ready);
        return !m_ready.empty();
    }
    m_mono.clear();
    for (std::int64_t frame = 0; frame < frames; ++frame) {
        float sum = 0;
        for (std::int64_t channel = 0; channel < m_channels; ++channel)
            sum += m_frames[static_cast<std::size_t>(frame * m_channels + channel)];
        m_mono.push_back(sum / static_cast<float>(m_channels));
    }
    if (m_resampler)
        m_resampler->push(m_mono, m_ready);
    else
        m_ready.insert(m_ready.end(), m_mono.begin(), m_mono.end());
    return true;
}

} // namespace lingrelay
