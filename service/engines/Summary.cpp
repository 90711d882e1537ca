#include "service/engines/Summary.h"

#include "base/Text.h"
#include "service/engines/Sentences.h"

#include <numeric>
#include <set>
#include <unordered_map>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace lingrelay::service {

namespace {

constexpr std::size_t characterLimit = 24000;
constexpr std::string_view arrow = " → ";

/// A part of the text that one speaker said; `speaker` is empty where nobody is named.
struct Utterance {
    std::string_view speaker;
    std::string_view text;
};

/// One coordinate of a sentence: a word that it has, and how telling that is.
struct Term {
    std::size_t word;
    double weight;
};

struct Sentence {
    std::string_view text;
    std::string_view speaker;
    std::vector<std::string> words;
    std::vector<Term> terms; ///< of length 1 all together, or none
    double score = 0;
};

/// The single word before the first colon, when a blank or nothing follows that; else empty.
std::string_view speakerOf(std::string_view line)
{
    auto const colon = line.substr(0, 64).find(':');
    if (colon == std::string_view::npos || colon == 0 || line.substr(colon + 1, 1).find_first_not_of(' ') == 0)
        return {};
    for (std::size_t at = 0; at < colon;) {
        UChar32 point = 0;
        U8_NEXT_OR_FFFD(reinterpret_cast<std::uint8_t const*>(line.data()), at, colon, point);
        if (!u_isalnum(point) && !(U_GET_GC_MASK(point) & U_GC_M_MASK))
            return {};
    }
    return line.substr(0, colon);
}

/// What stands right of the arrow; the source when there is no translation. Arrows inside the source come again in
/// the translation, so that the one in the middle divides them.
std::string_view translationOf(std::string_view said)
{
    std::vector<std::size_t> arrows;
    for (auto at = said.find(arrow); at != std::string_view::npos; at = said.find(arrow, at + 1))
        arrows.push_back(at);
    if (!arrows.empty())
        return said.substr(arrows[arrows.size() / 2] + arrow.size());
    constexpr auto open = arrow.substr(0, arrow.size() - 1); // the line's end had a blank
    return said.substr(0, said.size() - (said.ends_with(open) ? open.size() : 0));
}

/// The text as what was said by whom. It is a conversation when at least half of its lines name a speaker; what is said
/// there on a line without one belongs to the speaker before.
std::vector<Utterance> utterancesOf(std::string_view text)
{
    auto const lines = linesOf(text);
    auto const named
        = std::count_if(lines.begin(), lines.end(), [](std::string_view line) { return !speakerOf(line).empty(); });
    if (static_cast<std::size_t>(named) * 2 < lines.size())
        return {{{}, text}};
    std::vector<Utterance> utterances;
    std::string_view speaker;
    for (auto line : lines) {
        if (auto const found = speakerOf(line); !found.empty()) {
            speaker = found;
            line.remove_prefix(found.size() + 1);
        }
        utterances.push_back({speaker, translationOf(line)});
    }
    return utterances;
}

/// Those that say something, each once.
std::vector<Sentence> sentencesOf(std::vector<Utterance> const& utterances, SentenceCutter const& cutter)
{
    std::vector<Sentence> sentences;
    std::set<std::pair<std::string_view, std::vector<std::string>>> known;
    for (auto const& utterance : utterances) {
        for (auto const text : cutter.sentences(utterance.text)) {
            auto words = cutter.words(text);
            if (!words.empty() && known.emplace(utterance.speaker, words).second)
                sentences.push_back({text, utterance.speaker, std::move(words), {}, 0});
        }
    }
    return sentences;
}

/// Gives every sentence its terms: how often it has a word, times how rare the word is among all sentences.
/// Returns the number of different words.
std::size_t weighWords(std::vector<Sentence>& sentences)
{
    std::unordered_map<std::string_view, std::size_t> ids;
    std::vector<double> frequency; ///< in how many sentences
    for (auto& sentence : sentences) {
        std::map<std::size_t, double> counts;
        for (auto const& word : sentence.words)
            counts[ids.try_emplace(word, ids.size()).first->second] += 1;
        frequency.resize(ids.size());
        for (auto const& [word, count] : counts) {
            sentence.terms.push_back({word, count});
            frequency[word] += 1;
        }
    }
    for (auto& sentence : sentences) {
        double square = 0;
        for (auto& term : sentence.terms) {
            term.weight *= std::log(static_cast<double>(sentences.size()) / frequency[term.word]);
            square += term.weight * term.weight;
        }
        if (square == 0)
            sentence.terms.clear();
        for (auto& term : sentence.terms)
            term.weight /= std::sqrt(square);
    }
    return ids.size();
}

/// For every sentence the sum of its similarities to the others, each counted with that one's share. The similarity is
/// the cosine; the detour over the words spares the table of all pairs.
std::vector<double> neighbours(
    std::vector<Sentence> const& sentences, std::vector<double> const& share, std::size_t wordCount)
{
    std::vector<double> mass(wordCount);
    for (std::size_t i = 0; i < sentences.size(); ++i) {
        for (auto const& term : sentences[i].terms)
            mass[term.word] += term.weight * share[i];
    }
    std::vector<double> sums(sentences.size());
    for (std::size_t i = 0; i < sentences.size(); ++i) {
        for (auto const& term : sentences[i].terms)
            sums[i] += term.weight * mass[term.word];
        if (!sentences[i].terms.empty())
            sums[i] = std::max(0.0, sums[i] - share[i]); // not with itself
    }
    return sums;
}

/// LexRank's centrality: a sentence counts as much as those that are similar to it. The sums are not divided by the
/// number of a sentence's neighbours: two that resemble nothing but each other, such as two greetings, would rank high.
void rank(std::vector<Sentence>& sentences)
{
    constexpr double following = 0.85;
    constexpr int rounds = 20;
    auto const wordCount = weighWords(sentences);
    std::vector<double> central(sentences.size(), 1);
    for (int round = 0; round < rounds; ++round) {
        central = neighbours(sentences, central, wordCount);
        auto const most = central.empty() ? 0 : *std::max_element(central.begin(), central.end());
        for (auto& each : central)
            each = 1 - following + (most > 0 ? following * each / most : 0);
    }
    // A few words can be close to many sentences and yet say little.
    for (std::size_t i = 0; i < sentences.size(); ++i) {
        auto const length = static_cast<double>(sentences[i].words.size());
        sentences[i].score = central[i] * length / (length + 5);
    }
}

double similarity(Sentence const& one, Sentence const& other)
{
    double sum = 0;
    auto at = other.terms.begin();
    for (auto const& term : one.terms) { // both are in the order of their words' ids
        while (at != other.terms.end() && at->word < term.word)
            ++at;
        if (at != other.terms.end() && at->word == term.word)
            sum += term.weight * at->weight;
    }
    return sum;
}

/// The best sentences in their order. The more one repeats what is taken already, the less it counts.
std::vector<Sentence const*> choose(std::vector<Sentence const*> candidates, std::size_t most)
{
    constexpr double least = 1e-6;
    std::vector<double> worth;
    for (auto const* candidate : candidates)
        worth.push_back(candidate->score);
    std::vector<std::size_t> taken;
    while (taken.size() < std::min(most, candidates.size())) {
        auto const best = static_cast<std::size_t>(std::max_element(worth.begin(), worth.end()) - worth.begin());
        if (worth[best] < least)
            break;
        taken.push_back(best);
        worth[best] = 0;
        for (std::size_t i = 0; i < worth.size(); ++i) {
            auto const fresh = 1 - similarity(*candidates[i], *candidates[best]);
            worth[i] = std::min(worth[i], candidates[i]->score * fresh);
        }
    }
    std::sort(taken.begin(), taken.end());
    std::vector<Sentence const*> chosen;
    for (auto const index : taken)
        chosen.push_back(candidates[index]);
    return chosen;
}

/// What a speaker said, without "Yes." and "All right." as long as there is more.
std::vector<Sentence const*> candidatesOf(std::vector<Sentence> const& sentences, std::string_view speaker)
{
    constexpr std::size_t fewWords = 3;
    std::vector<Sentence const*> all;
    std::vector<Sentence const*> telling;
    for (auto const& sentence : sentences) {
        if (sentence.speaker != speaker)
            continue;
        all.push_back(&sentence);
        if (sentence.words.size() >= fewWords)
            telling.push_back(&sentence);
    }
    return telling.empty() ? all : telling;
}

void addLine(std::string& text, std::string_view mark, std::string_view line)
{
    text += fmt::format("{}{}{}", text.empty() ? "" : "\n", mark, line);
}

std::string brief(std::vector<Sentence> const& sentences)
{
    std::string text;
    for (auto const* each : choose(candidatesOf(sentences, {}), 3))
        addLine(text, "", each->text);
    return text;
}

/// Longer talks get longer lists.
std::size_t listLength(std::size_t candidates) { return std::clamp<std::size_t>(candidates / 6, 3, 10); }

std::string full(std::vector<Sentence> const& sentences)
{
    std::vector<std::string_view> speakers;
    for (auto const& sentence : sentences) {
        if (std::find(speakers.begin(), speakers.end(), sentence.speaker) == speakers.end())
            speakers.push_back(sentence.speaker);
    }
    std::string text;
    for (auto const speaker : speakers) {
        if (!text.empty())
            text += '\n';
        if (!speaker.empty())
            addLine(text, speaker, "");
        auto const candidates = candidatesOf(sentences, speaker);
        for (auto const* each : choose(candidates, listLength(candidates.size())))
            addLine(text, speaker.empty() ? "" : "- ", each->text);
    }
    return text;
}

} // namespace

std::optional<SummaryStyle> summaryStyleOf(std::string_view name)
{
    if (name == "brief")
        return SummaryStyle::brief;
    if (name == "full")
        return SummaryStyle::full;
    return {};
}

std::string summarize(std::string_view text, SummaryStyle style, std::string const& language)
{
    CharacterText characters;
    characters.append(text);
    if (characters.count() >= characterLimit) { // the first line has most likely lost its beginning
        characters.keepLast(characterLimit);
        auto const whole = characters.text();
        auto const end = whole.find('\n');
        text = whole.substr(end == std::string_view::npos || end + 1 == whole.size() ? 0 : end + 1);
    }
    auto utterances = utterancesOf(text);
    if (style == SummaryStyle::brief) {
        for (auto& utterance : utterances)
            utterance.speaker = {};
    }
    auto sentences = sentencesOf(utterances, SentenceCutter(language));
    rank(sentences);
    return style == SummaryStyle::brief ? brief(sentences) : full(sentences);
}

} // namespace lingrelay::service
