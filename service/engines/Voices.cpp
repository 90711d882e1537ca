#include "service/engines/Voices.h"

#include "base/Text.h"
#include "service/engines/Languages.h"
#include "service/engines/Pcm.h"
#include "service/engines/Sentences.h"

#include <array>
#include <cstring>
#include <sstream>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>

namespace lingrelay::service {

namespace {

constexpr int wordsAMinute = 165; ///< at speed 1
constexpr double blockSeconds = 0.15;

/// Where several variants of a language exist, the one to speak.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> preferred{
    {{"en", "en-us"}, {"fr", "fr-fr"}, {"vi", "vi"}, {"zh", "cmn"}}};

asio::awaitable<std::string> readAll(ChildProcess::Pipe& pipe)
{
    std::string text;
    std::array<char, 8192> part;
    for (;;) {
        auto const [error, count] = co_await pipe.async_read_some(asio::buffer(part), quietly);
        if (error)
            co_return text;
        text.append(part.data(), count);
    }
}

std::uint32_t littleEndian(std::string_view bytes)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    return value;
}

std::vector<std::string> espeakArguments(Voices::Speech const& speech)
{
    return {"espeak-ng", "-v", fmt::format("{}+{}", speech.language, speech.voice->variant), "-s",
        std::to_string(std::lround(wordsAMinute * speech.speed)), "-p", std::to_string(speech.voice->pitch), "-b", "1",
        "--stdin", "--stdout"};
}

} // namespace

std::vector<Voice> const& Voices::all()
{
    static std::vector<Voice> const voices{
        {"Adrian", "male", "m1", 42},
        {"Daniel", "male", "m3", 46},
        {"Emma", "female", "f5", 52},
        {"Grace", "female", "f4", 46},
        {"Jack", "male", "m2", 55},
        {"Maya", "female", "f2", 58},
        {"Mina", "female", "f1", 50},
        {"Nina", "female", "f3", 66},
        {"Noah", "male", "m7", 38},
        {"Owen", "male", "m4", 30},
    };
    return voices;
}

Voice const* Voices::find(std::string_view name)
{
    auto const same = [name](Voice const& voice) {
        return std::equal(name.begin(), name.end(), voice.name, voice.name + std::strlen(voice.name),
            [](char a, char b) { return (a | 32) == (b | 32); });
    };
    auto const found = std::find_if(all().begin(), all().end(), same);
    return found == all().end() ? nullptr : &*found;
}

std::map<std::string, std::string> readVoiceTable(std::string_view table)
{
    std::map<std::string, std::string> languages;
    std::istringstream lines{std::string(table)};
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        std::string priority, name;
        fields >> priority >> name;
        auto const code = shortLanguageCode(name.substr(0, name.find("-Q")));
        if (priority.find_first_not_of("0123456789") != std::string::npos || name.empty() || code.empty())
            continue;
        // The plain name wins over its variants ("pt" over "pt-br"); else the first in the table.
        if (name == code || !languages.contains(code))
            languages[code] = name;
    }
    for (auto const& [code, name] : preferred) {
        if (table.find(fmt::format(" {} ", name)) != std::string_view::npos)
            languages[std::string(code)] = name;
    }
    return languages;
}

asio::awaitable<std::map<std::string, std::string>> Voices::languages()
{
    if (m_languages.empty())
        co_await loadLanguages();
    co_return m_languages;
}

asio::awaitable<void> Voices::loadLanguages()
{
    auto process = ChildProcess::start(m_executor, {"espeak-ng", "--voices"});
    if (!process)
        co_return;
    auto const table = co_await readAll((*process)->output());
    m_languages = readVoiceTable(table);
}

asio::awaitable<std::optional<Error>> Voices::speak(Speech speech, Take take)
{
    auto process = ChildProcess::start(m_executor, espeakArguments(speech));
    if (!process)
        co_return process.error();
    auto& child = **process;
    std::erase(speech.text, '\0');
    co_await asio::async_write(child.input(), asio::buffer(speech.text), quietly);
    child.input().close();

    WavReader wav;
    std::optional<Resampler> resampler;
    std::vector<std::int16_t> block;
    auto const blockSize = static_cast<std::size_t>(blockSeconds * speech.sampleRate);
    std::array<char, 16384> part;
    std::size_t samplesMade = 0;
    bool wanted = true;
    while (wanted) {
        auto const [error, count] = co_await child.output().async_read_some(asio::buffer(part), quietly);
        if (error)
            break;
        auto const samples = wav.add({part.data(), count});
        samplesMade += samples.size();
        if (!resampler && wav.rate() > 0)
            resampler.emplace(wav.rate(), speech.sampleRate);
        if (!resampler)
            continue;
        auto const more = resampler->add(samples);
        block.insert(block.end(), more.begin(), more.end());
        while (wanted && block.size() >= blockSize) {
            std::vector<std::int16_t> full(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(blockSize));
            block.erase(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(blockSize));
            wanted = co_await take(std::move(full));
        }
    }
    bool const silent = samplesMade == 0 && wanted && hasWords(speech.text);
    if (!resampler || silent)
        co_return Error{Error::Kind::other, "espeak-ng made no sound"};
    auto const rest = resampler->finish();
    block.insert(block.end(), rest.begin(), rest.end());
    if (wanted && !block.empty())
        co_await take(std::move(block));
    co_return std::nullopt;
}

bool WavReader::readHeader()
{
    auto const data = m_rest.find("data");
    if (data == std::string::npos || m_rest.size() < data + 8 || !m_rest.starts_with("RIFF") || data < 36)
        return false;
    auto const rate = littleEndian(std::string_view(m_rest).substr(24, 4));
    m_rate = rate >= 1000 && rate <= 192000 ? static_cast<int>(rate) : 22050;
    m_rest.erase(0, data + 8);
    return true;
}

std::vector<std::int16_t> WavReader::add(std::string_view part)
{
    m_rest.append(part);
    if (m_rate == 0 && !readHeader())
        return {};
    return takeSamples(m_rest);
}

} // namespace lingrelay::service
