#pragma once

#include "base/Result.h"
#include "service/engines/ChildProcess.h"
#include "service/engines/Resampler.h"
#include "service/engines/Signal.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay::service {

/// One of the named voices: how espeak-ng is told to sound.
struct Voice {
    char const* name;
    char const* gender;
    char const* variant;
    int pitch; ///< 0 to 99
};

/// The named voices and the languages they speak, by espeak-ng. Its executor only.
class Voices {
public:
    explicit Voices(asio::any_io_executor executor) : m_executor(std::move(executor)) { }

    static std::vector<Voice> const& all();
    /// By name, in any case of letters.
    static Voice const* find(std::string_view name);

    /// What espeak-ng calls the languages, by short code; asked for once. Empty when it does not run.
    asio::awaitable<std::map<std::string, std::string>> languages();

    struct Speech {
        std::string text;
        std::string language; ///< as espeak-ng calls it
        Voice const* voice = nullptr;
        double speed = 1;
        int sampleRate = 24000;
    };
    /// Takes a block of 16-bit little-endian samples; false stops the speech.
    using Take = std::function<asio::awaitable<bool>(std::vector<std::int16_t> block)>;

    /// Speaks, in blocks of about 150 ms as they are made; an error when there is no sound.
    asio::awaitable<std::optional<Error>> speak(Speech speech, Take take);

private:
    asio::awaitable<void> loadLanguages();

    asio::any_io_executor m_executor;
    std::map<std::string, std::string> m_languages;
};

/// The samples of a RIFF WAVE stream (mono, 16 bits) that arrives in parts, whatever length its header tells.
class WavReader {
public:
    /// What the part brings; an odd byte waits for the next.
    std::vector<std::int16_t> add(std::string_view part);
    /// Samples a second; 0 until the header has come.
    int rate() const { return m_rate; }

private:
    bool readHeader();

    std::string m_rest;
    int m_rate = 0;
};

/// Reads the table that `espeak-ng --voices` prints: short code to the name that is spoken for it.
std::map<std::string, std::string> readVoiceTable(std::string_view table);

} // namespace lingrelay::service
