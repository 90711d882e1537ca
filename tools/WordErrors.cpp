#include "tools/WordErrors.h"

#include "base/Json.h"
#include "base/Text.h"

#include <algorithm>

namespace lingrelay {

namespace {

std::vector<std::string_view> linesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        auto const end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

bool isHeading(std::string_view line)
{
    return line.size() > 10 && line[0] == '[' && line[3] == ':' && line[6] == ':' && line[9] == ']';
}

std::optional<std::string> sourcesOfJson(std::string_view text)
{
    auto const transcript = parseJson(text);
    auto const* lines = transcript ? jsonMember(*transcript, "lines") : nullptr;
    if (!lines || !lines->is_array())
        return std::nullopt;
    std::string sources;
    for (auto const& line : *lines)
        sources += jsonString(line, "source").value_or("") + '\n';
    return sources;
}

/// Each heading is followed by one row of source and one of translation.
std::string sourcesOfText(std::vector<std::string_view> const& lines)
{
    std::string sources;
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        if (isHeading(lines[i]))
            sources += std::string(lines[i + 1]) + '\n';
    }
    return sources;
}

/// The cheapest way to get from the first words of the reference to the first words of the hypothesis.
enum class Step { none, match, substitute, remove, insert };

struct Cell {
    std::size_t cost = 0;
    Step step = Step::none;
};

class Table {
public:
    Table(std::vector<std::string> const& said, std::vector<std::string> const& heard)
        : m_width(heard.size() + 1)
        , m_cells((said.size() + 1) * m_width)
    {
        for (std::size_t i = 0; i <= said.size(); ++i) {
            for (std::size_t j = 0; j <= heard.size(); ++j)
                at(i, j) = cheapest(i, j, i > 0 && j > 0 && said[i - 1] == heard[j - 1]);
        }
    }

    Cell& at(std::size_t said, std::size_t heard) { return m_cells[said * m_width + heard]; }

private:
    Cell cheapest(std::size_t i, std::size_t j, bool same)
    {
        if (i == 0 && j == 0)
            return {};
        Cell best{static_cast<std::size_t>(-1)};
        auto const offer = [&](Cell const& from, std::size_t cost, Step step) {
            if (from.cost + cost < best.cost)
                best = {from.cost + cost, step};
        };
        if (i > 0 && j > 0)
            offer(at(i - 1, j - 1), same ? 0 : 1, same ? Step::match : Step::substitute);
        if (i > 0)
            offer(at(i - 1, j), 1, Step::remove);
        if (j > 0)
            offer(at(i, j - 1), 1, Step::insert);
        return best;
    }

    std::size_t m_width;
    std::vector<Cell> m_cells;
};

} // namespace

std::vector<std::string> plainWords(std::string_view text)
{
    std::string joined(text);
    for (std::string_view apostrophe : {"'", "\u2019"}) {
        for (auto at = joined.find(apostrophe); at != std::string::npos; at = joined.find(apostrophe, at))
            joined.erase(at, apostrophe.size());
    }
    return wordsOf(joined);
}

std::vector<Utterance> parseReference(std::string_view text)
{
    std::vector<Utterance> utterances;
    for (auto line : linesOf(text)) {
        Utterance utterance;
        if (auto const end = line.rfind("</s> ("); line.starts_with("<s>") && end != std::string_view::npos) {
            auto const id = line.substr(end + 6);
            utterance.id = id.substr(0, id.find(')'));
            line = line.substr(3, end - 3);
        }
        utterance.words = plainWords(line);
        if (!utterance.words.empty())
            utterances.push_back(std::move(utterance));
    }
    return utterances;
}

std::optional<std::vector<std::string>> parseHypothesis(std::string_view text)
{
    if (trimWhitespace(text).starts_with('{')) {
        auto const sources = sourcesOfJson(text);
        return sources ? std::optional(plainWords(*sources)) : std::nullopt;
    }
    auto const lines = linesOf(text);
    return plainWords(std::any_of(lines.begin(), lines.end(), isHeading) ? sourcesOfText(lines) : std::string(text));
}

std::vector<WordErrors> compareWords(
    std::vector<Utterance> const& reference, std::vector<std::string> const& hypothesis)
{
    std::vector<WordErrors> results(reference.size());
    std::vector<std::string> said;
    std::vector<std::size_t> owner;
    for (std::size_t i = 0; i < reference.size(); ++i) {
        results[i].words = reference[i].words.size();
        said.insert(said.end(), reference[i].words.begin(), reference[i].words.end());
        owner.insert(owner.end(), reference[i].words.size(), i);
    }
    if (said.empty())
        return results;

    Table table(said, hypothesis);
    auto i = said.size();
    auto j = hypothesis.size();
    while (i > 0 || j > 0) {
        auto& result = results[owner[i > 0 ? i - 1 : 0]];
        auto const step = table.at(i, j).step;
        result.substitutions += step == Step::substitute ? 1 : 0;
        result.deletions += step == Step::remove ? 1 : 0;
        result.insertions += step == Step::insert ? 1 : 0;
        i -= step == Step::insert ? 0 : 1;
        j -= step == Step::remove ? 0 : 1;
    }
    return results;
}

} // namespace lingrelay
