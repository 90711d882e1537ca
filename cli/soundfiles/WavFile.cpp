#include "cli/soundfiles/WavFile.h"

#include "audio/PcmConversion.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

namespace lingrelay {

namespace {

constexpr std::int64_t headerSize = 44;

void put(std::string& bytes, std::uint64_t value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>(value >> (8 * i) & 0xFF);
}

std::string header(std::int64_t rate, std::int64_t soundBytes)
{
    auto const size = static_cast<std::uint64_t>(std::min<std::int64_t>(soundBytes, 0xFFFFFFFF - headerSize));
    auto const bytesASecond = static_cast<std::uint64_t>(rate * 2);
    std::string bytes = "RIFF";
    put(bytes, size + headerSize - 8, 4);
    bytes += "WAVEfmt ";
    put(bytes, 16, 4);
    put(bytes, 1, 2); // PCM
    put(bytes, 1, 2); // mono
    put(bytes, static_cast<std::uint64_t>(rate), 4);
    put(bytes, bytesASecond, 4);
    put(bytes, 2, 2);
    put(bytes, 16, 2);
    bytes += "data";
    put(bytes, size, 4);
    return bytes;
}

} // namespace

Result<WavFile> WavFile::create(std::filesystem::path const& path, std::int64_t rate)
{
    int const descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (descriptor < 0)
        return Error{Error::Kind::other, fmt::format("{}: cannot be written: {}", path.string(), std::strerror(errno))};
    return WavFile(path, descriptor, rate);
}

WavFile::WavFile(std::filesystem::path path, int descriptor, std::int64_t rate)
    : m_path(std::move(path))
    , m_descriptor(descriptor)
    , m_rate(rate)
{
    writeHeader();
}

WavFile::WavFile(WavFile&& other) noexcept
    : m_path(std::move(other.m_path))
    , m_descriptor(std::exchange(other.m_descriptor, -1))
    , m_rate(other.m_rate)
    , m_samples(other.m_samples)
    , m_written(other.m_written)
    , m_waiting(std::move(other.m_waiting))
    , m_error(std::move(other.m_error))
{
}

WavFile::~WavFile() { finish(); }

void WavFile::write(std::span<float const> samples)
{
    m_waiting += convertToInt16(samples);
    m_samples += static_cast<std::int64_t>(samples.size());
    if (static_cast<std::int64_t>(m_waiting.size()) >= m_rate * 2)
        flush();
}

void WavFile::writeSilence(std::int64_t samples)
{
    for (std::int64_t left = samples; left > 0;) {
        auto const piece = std::min(left, m_rate);
        m_waiting.append(static_cast<std::size_t>(piece * 2), '\0');
        m_samples += piece;
        left -= piece;
        if (static_cast<std::int64_t>(m_waiting.size()) >= m_rate * 2)
            flush();
    }
}

void WavFile::flush()
{
    if (m_descriptor < 0 || m_waiting.empty())
        return;
    if (writeAt(m_waiting, headerSize + m_written)) {
        m_written += static_cast<std::int64_t>(m_waiting.size());
        writeHeader();
    }
    m_waiting.clear();
}

void WavFile::writeHeader() { writeAt(header(m_rate, m_written), 0); }

bool WavFile::writeAt(std::string const& bytes, std::int64_t offset)
{
    for (std::size_t done = 0; done < bytes.size() && !m_error;) {
        auto const count
            = ::pwrite(m_descriptor, bytes.data() + done, bytes.size() - done, offset + static_cast<off_t>(done));
        if (count > 0)
            done += static_cast<std::size_t>(count);
        else if (errno != EINTR)
            m_error = Error{
                Error::Kind::other, fmt::format("{}: cannot be written: {}", m_path.string(), std::strerror(errno))};
    }
    return !m_error;
}

std::optional<Error> WavFile::finish()
{
    flush();
    if (int const descriptor = std::exchange(m_descriptor, -1); descriptor >= 0)
        ::close(descriptor);
    return m_error;
}

} // namespace lingrelay
