#include "cli/soundfiles/SoundFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lingrelay {

namespace {

constexpr std::int64_t leastRate = 1000; ///< no speech is below, and few bytes would become hours of sound
constexpr std::int64_t mostRate = 1'000'000;
constexpr std::int64_t mostFrames = std::int64_t(1) << 40; ///< a stream that says no length claims more
constexpr std::int64_t readAtOnce = 8192; ///< samples of all channels
constexpr std::int64_t unknownLength = 0x7f000000; ///< bytes from here on are what a stream writes as its length
constexpr int pipePollMs = 100;

std::int64_t sizeOf(int descriptor)
{
    struct stat status { };
    return ::fstat(descriptor, &status) == 0 ? status.st_size : -1;
}

/// A file that has no name and holds what came out of the pipe; -1 with errno when there is none.
int spooled(std::filesystem::path const& path, std::function<bool()> const& stopped)
{
    auto name = (std::filesystem::temp_directory_path() / "lingrelay-sound-XXXXXX").string();
    int const file = ::mkostemp(name.data(), O_CLOEXEC);
    if (file < 0)
        return -1;
    ::unlink(name.c_str());
    int const pipe = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); // does not wait for a writer
    bool good = pipe >= 0;
    std::array<char, 65536> part;
    for (ssize_t count = 1; good && count != 0;) {
        pollfd wait{pipe, POLLIN, 0};
        bool const ready = ::poll(&wait, 1, pipePollMs) == 1;
        count = ready ? ::read(pipe, part.data(), part.size()) : -1;
        bool const again = !ready || errno == EAGAIN || errno == EINTR;
        if (count > 0)
            good = ::write(file, part.data(), static_cast<std::size_t>(count)) == count;
        else if (count < 0)
            good = again && !(stopped && stopped());
    }
    auto const problem = errno;
    if (pipe >= 0)
        ::close(pipe);
    if (good && ::lseek(file, 0, SEEK_SET) == 0)
        return file;
    ::close(file);
    errno = problem;
    return -1;
}

/// What the header says, before the library has set it right by the file's length; 0 when it says nothing.
std::int64_t promisedFrames(SNDFILE* file, std::int64_t frames)
{
    std::string log(8192, '\0');
    log.resize(static_cast<std::size_t>(sf_command(file, SFC_GET_LOG_INFO, log.data(), static_cast<int>(log.size()))));
    for (std::string_view const chunk : {"data : ", "SSND : ", "Data Size   : "}) {
        auto const at = log.find(chunk);
        std::int64_t told = 0, there = 0;
        if (at == std::string::npos
            || std::sscanf(log.c_str() + at + chunk.size(), "%" SCNd64 " (should be %" SCNd64 ")", &told, &there) != 2)
            continue;
        bool const says = told < unknownLength && there > 0;
        return says ? static_cast<std::int64_t>(
                   static_cast<double>(frames) * static_cast<double>(told) / static_cast<double>(there))
                    : 0;
    }
    return frames;
}

} // namespace

void SoundFile::Close::operator()(sf_private_tag* file) const { sf_close(file); }

Result<SoundFile> SoundFile::open(std::filesystem::path const& path, std::function<bool()> const& stopped)
{
    auto const failure = [&path](std::string const& problem) {
        return Error{Error::Kind::other, fmt::format("{}: {}", path.string(), problem)};
    };
    std::error_code error;
    auto const kind = std::filesystem::status(path, error).type();
    if (kind == std::filesystem::file_type::not_found)
        return failure("there is no such file");
    if (kind != std::filesystem::file_type::regular && kind != std::filesystem::file_type::fifo)
        return failure("not a sound file");

    SF_INFO info{};
    SoundFile sound;
    sound.m_name = path.string();
    sound.m_descriptor = kind == std::filesystem::file_type::fifo ? spooled(path, stopped)
                                                                  : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (sound.m_descriptor < 0)
        return failure(fmt::format("cannot be read: {}", std::strerror(errno)));
    sound.m_bytes = sizeOf(sound.m_descriptor);
    sound.m_file.reset(sf_open_fd(sound.m_descriptor, SFM_READ, &info, SF_TRUE)); // closes it, whatever happens
    if (!sound.m_file)
        return failure(fmt::format("cannot be read as sound: {}", sf_strerror(nullptr)));
    if (info.channels < 1 || info.samplerate < leastRate || info.samplerate > mostRate)
        return failure("not a usable sound file");
    sound.m_channels = info.channels;
    sound.m_fileRate = info.samplerate;
    auto const frames = info.frames <= mostFrames ? info.frames : 0;
    sound.m_promised = promisedFrames(sound.m_file.get(), frames);
    sound.m_length = frames;
    if (info.samplerate != rate) {
        sound.m_resampler.emplace(info.samplerate, rate);
        sound.m_length = sound.m_resampler->outputCount(frames);
    }
    // The header may promise what is not there, so a first piece is read before anyone counts on it.
    if (info.frames < 1 || !sound.readMore())
        return failure("there is no sound in this file");
    return sound;
}

std::optional<Error> SoundFile::damage() const
{
    auto const seconds
        = [this](std::int64_t frames) { return static_cast<double>(frames) / static_cast<double>(m_fileRate); };
    if (sizeOf(m_descriptor) != m_bytes)
        return Error{Error::Kind::other, fmt::format("{}: the file was changed while it was read", m_name)};
    if (m_frame + m_fileRate / 10 < m_promised) // some formats tell their length a little wrong
        return Error{Error::Kind::other,
            fmt::format("{}: the sound ends after {:.1f} s, although the file promises {:.1f} s: it is incomplete",
                m_name, seconds(m_frame), seconds(m_promised))};
    return {};
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
    m_frame = source;
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
    m_frame += frames;
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
