#include "bench/Conversation.h"

#include "base/Json.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace lingrelay::bench {

namespace {

constexpr std::size_t messageMs = 125;

struct Sentence {
    std::string_view source;
    std::string_view target;
};

constexpr std::array<Sentence, 8> sentences{{
    {"Good morning everyone, thank you for joining on such short notice.",
        "Buenos días a todos, gracias por conectarse con tan poca antelación."},
    {"We moved the release by one week, because the new importer was not ready.",
        "Retrasamos el lanzamiento una semana, porque el nuevo importador no estaba listo."},
    {"Is there anybody who has seen the numbers for the second quarter?",
        "¿Hay alguien que haya visto las cifras del segundo trimestre?"},
    {"They look fine to me.", "A mí me parecen bien."},
    {"What worries me a little is the time people spend on the second page, it has almost doubled since March.",
        "Lo que me preocupa un poco es el tiempo que la gente pasa en la segunda página, casi se ha duplicado desde "
        "marzo."},
    {"Maria, could you have a look at that together with the support team?",
        "María, ¿podrías mirarlo junto con el equipo de soporte?"},
    {"Sure, I will send you something by Thursday.", "Claro, les mandaré algo para el jueves."},
    {"Perfect. Then let us go on with the next point!", "Perfecto. ¡Entonces sigamos con el siguiente punto!"},
}};

/// Words of up to five letters stay whole, longer ones come in two; the leading space belongs to the token.
std::vector<std::string> tokensOf(std::string_view text)
{
    std::vector<std::string> tokens;
    for (std::size_t begin = 0; begin < text.size();) {
        auto const end = std::min(text.find(' ', begin + 1), text.size());
        auto const word = text.substr(begin, end - begin);
        auto middle = word.size() > 6 ? word.size() / 2 : word.size();
        while (middle < word.size() && (static_cast<unsigned char>(word[middle]) & 0xC0) == 0x80)
            ++middle;
        tokens.emplace_back(word.substr(0, middle));
        if (middle < word.size())
            tokens.emplace_back(word.substr(middle));
        begin = end;
    }
    return tokens;
}

Json sourceToken(std::string const& text, std::size_t atMs, bool isFinal)
{
    return {{"text", text}, {"start_ms", atMs}, {"end_ms", atMs + 120}, {"confidence", 0.97}, {"is_final", isFinal},
        {"speaker", "1"}, {"language", "en"}, {"translation_status", "original"}};
}

Json targetToken(std::string const& text, bool isFinal)
{
    return {{"text", text}, {"confidence", 0.95}, {"is_final", isFinal}, {"speaker", "1"}, {"language", "es"},
        {"source_language", "en"}, {"translation_status", "translation"}};
}

} // namespace

void Conversation::beginSentence()
{
    auto const& sentence = sentences[m_sentence++ % sentences.size()];
    m_source = tokensOf(sentence.source);
    m_target = tokensOf(sentence.target);
    m_sourceDone = m_targetDone = 0;
}

std::string Conversation::next()
{
    if (m_sourceDone == m_source.size() && m_targetDone == m_target.size())
        beginSentence();
    auto tokens = Json::array();
    auto const finals = [&](std::vector<std::string> const& all, std::size_t& done, std::size_t count, auto make) {
        for (; count > 0 && done < all.size(); --count)
            tokens.push_back(make(all[done++], true));
    };
    auto const source = [this](std::string const& text, bool isFinal) { return sourceToken(text, m_elapsed, isFinal); };
    // The translation follows once most of the sentence is known.
    bool const translating = m_sourceDone * 2 >= m_source.size();
    bool const oddMessage = m_elapsed / messageMs % 2 == 1; // a token every quarter of a second: three words a second
    finals(m_source, m_sourceDone, oddMessage ? 1 : 0, source);
    finals(m_target, m_targetDone, translating ? 1 : 0, targetToken);
    if (m_sourceDone == m_source.size() && m_targetDone == m_target.size())
        tokens.push_back({{"text", "<end>"}, {"is_final", true}});
    for (auto i = m_sourceDone; i < std::min(m_sourceDone + 3, m_source.size()); ++i)
        tokens.push_back(source(m_source[i], false));
    for (auto i = m_targetDone; translating && i < std::min(m_targetDone + 3, m_target.size()); ++i)
        tokens.push_back(targetToken(m_target[i], false));
    m_tokens += tokens.size();
    m_elapsed += messageMs;
    return jsonText(
        {{"tokens", std::move(tokens)}, {"final_audio_proc_ms", m_elapsed}, {"total_audio_proc_ms", m_elapsed + 500}});
}

} // namespace lingrelay::bench
