#pragma once

#include "base/Result.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace lingrelay {

/// A WAV file of 16-bit mono sound that is written piece by piece. Its header is brought up to date about once a
/// second of sound, so a run that is killed leaves a file that plays. One thread.
class WavFile {
public:
    /// The error is for the user.
    static Result<WavFile> create(std::filesystem::path const& path, std::int64_t rate);
    WavFile(WavFile&& other) noexcept;
    WavFile& operator=(WavFile&&) = delete;
    ~WavFile();

    void write(std::span<float const> samples);
    void writeSilence(std::int64_t samples);
    std::int64_t samples() const { return m_samples; }

    /// Writes what is left and closes. What went wrong since the beginning, for the user.
    std::optional<Error> finish();

private:
    WavFile(std::filesystem::path path, int descriptor, std::int64_t rate);

    void flush();
    void writeHeader();
    bool writeAt(std::string const& bytes, std::int64_t offset);

    std::filesystem::path m_path;
    int m_descriptor;
    std::int64_t m_rate;
    std::int64_t m_samples = 0;
    std::int64_t m_written = 0; ///< bytes of sound in the file
    std::string m_waiting;
    std::optional<Error> m_error;
};

} // namespace lingrelay
