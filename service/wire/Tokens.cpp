#include "service/wire/Tokens.h"

#include <array>

namespace lingrelay::service {

namespace {

constexpr std::size_t wholeLength = 5; ///< characters of a word that stays in one piece
constexpr std::size_t pieceLength = 4;

/// Number of code points, so close to what a reader counts in the scripts of our languages.
std::size_t lengthOf(std::string_view text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

/// Bytes of the first `count` code points.
std::size_t bytesOf(std::string_view text, std::size_t count)
{
    std::size_t at = 0;
    while (at < text.size() && count-- > 0) {
        do
            ++at;
        while (at < text.size() && (text[at] & 0xC0) == 0x80);
    }
    return at;
}

std::size_t endingLength(std::string_view word)
{
    for (std::string_view const ending : {"tion", "ment", "ness", "able", "ing", "est", "ful", "ed", "ly", "er"}) {
        if (word.size() >= ending.size() + 3 && word.ends_with(ending))
            return ending.size();
    }
    return 0;
}

std::vector<std::string> wordsIn(std::string_view text)
{
    std::vector<std::string> words;
    std::size_t at = 0;
    while (at < text.size()) {
        auto const start = text.find_first_not_of(" \t\r\n", at);
        if (start == std::string_view::npos)
            break;
        at = std::min(text.find_first_of(" \t\r\n", start), text.size());
        words.emplace_back(text.substr(start, at - start));
    }
    return words;
}

} // namespace

std::vector<std::string> wordPieces(std::string_view word)
{
    std::vector<std::string> pieces;
    auto const length = lengthOf(word);
    if (length <= wholeLength) {
        pieces.emplace_back(word);
        return pieces;
    }
    auto const ending = endingLength(word);
    auto stem = word.substr(0, word.size() - ending);
    while (lengthOf(stem) > wholeLength) {
        auto const bytes = bytesOf(stem, pieceLength);
        pieces.emplace_back(stem.substr(0, bytes));
        stem.remove_prefix(bytes);
    }
    pieces.emplace_back(stem);
    if (ending > 0)
        pieces.emplace_back(word.substr(word.size() - ending));
    return pieces;
}

std::string writtenWord(std::string_view word, bool sentenceStart)
{
    std::string text(word);
    bool const self = word == "i" || word.starts_with("i'");
    if ((sentenceStart || self) && !text.empty() && text[0] >= 'a' && text[0] <= 'z')
        text[0] = static_cast<char>(text[0] - 32);
    return text;
}

Json TokenWriter::original(
    std::string text, std::int64_t startMs, std::int64_t endMs, double confidence, Finality finality) const
{
    Json token = {{"text", std::move(text)}, {"start_ms", startMs}, {"end_ms", endMs}, {"confidence", confidence},
        {"is_final", finality == Finality::final}, {"language", m_style.sourceLanguage},
        {"translation_status", m_style.translated ? "original" : "none"}};
    if (m_style.speakers)
        token["speaker"] = "1";
    return token;
}

Json TokenWriter::originals(std::vector<SpokenWord> const& words, Finality finality, Ending ending)
{
    Json tokens = Json::array();
    bool begun = m_originalBegun;
    bool sentenceStart = m_sentenceStart;
    for (auto const& word : words) {
        auto const pieces = wordPieces(writtenWord(word.text, sentenceStart));
        auto const time = word.endMs - word.startMs;
        auto const count = static_cast<std::int64_t>(pieces.size());
        for (std::int64_t i = 0; i < count; ++i) {
            auto const& piece = pieces[static_cast<std::size_t>(i)];
            tokens.push_back(original(i == 0 && begun ? " " + piece : piece, word.startMs + time * i / count,
                word.startMs + time * (i + 1) / count, word.confidence, finality));
        }
        begun = true;
        sentenceStart = false;
    }
    auto const endMs = words.empty() ? m_lastEndMs : words.back().endMs;
    if (ending == Ending::sentence && !sentenceStart) {
        tokens.push_back(original(".", endMs, endMs, 0.9, finality));
        sentenceStart = true;
    }
    if (finality == Finality::final) {
        m_lastEndMs = endMs;
        m_originalBegun = begun;
        m_sentenceStart = sentenceStart;
    }
    return tokens;
}

Json TokenWriter::translation(std::string_view text, Finality finality)
{
    Json tokens = Json::array();
    bool begun = m_translationBegun;
    for (auto const& word : wordsIn(text)) {
        bool first = true;
        for (auto& piece : wordPieces(word)) {
            tokens.push_back({{"text", first && begun ? " " + piece : piece}, {"confidence", 0.9},
                {"is_final", finality == Finality::final}, {"language", m_style.targetLanguage},
                {"source_language", m_style.sourceLanguage}, {"translation_status", "translation"}});
            if (m_style.speakers)
                tokens.back()["speaker"] = "1";
            first = false;
        }
        begun = true;
    }
    if (finality == Finality::final)
        m_translationBegun = begun;
    return tokens;
}

std::string TokenWriter::sentence(std::vector<SpokenWord> const& words, Ending ending) const
{
    std::string text;
    bool sentenceStart = m_sentenceStart;
    for (auto const& word : words) {
        if (!text.empty())
            text += ' ';
        text += writtenWord(word.text, sentenceStart);
        sentenceStart = false;
    }
    return ending == Ending::sentence && !text.empty() ? text + "." : text;
}

} // namespace lingrelay::service
