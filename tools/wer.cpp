// lingrelay-wer REFERENCE HYPOTHESIS: the word error rate of a transcript against what was said, as a table.

#include "tools/WordErrors.h"

#include <fmt/core.h>

#include <cstdio>
#include <fstream>
#include <sstream>

using namespace lingrelay;

namespace {

std::optional<std::string> readFile(char const* path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf()))
        return std::nullopt;
    return std::move(text).str();
}

void printRow(std::string const& name, WordErrors const& errors)
{
    fmt::print("{:>5}  {:>4}  {:>4}  {:>4}  {:>5.1f} %  {}\n", errors.words, errors.substitutions, errors.deletions,
        errors.insertions, 100 * errors.rate(), name);
}

int fail(std::string const& message)
{
    fmt::print(stderr, "lingrelay-wer: {}\n", message);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return fail(
            "usage: lingrelay-wer REFERENCE HYPOTHESIS\n"
            "REFERENCE: lines of \"<s> words </s> (id)\" or plain text. HYPOTHESIS: a transcript (.json or .txt).");
    auto const said = readFile(argv[1]);
    if (!said)
        return fail(fmt::format("cannot read {}", argv[1]));
    auto const heard = readFile(argv[2]);
    if (!heard)
        return fail(fmt::format("cannot read {}", argv[2]));
    auto const reference = parseReference(*said);
    if (reference.empty())
        return fail(fmt::format("no words in {}", argv[1]));
    auto const hypothesis = parseHypothesis(*heard);
    if (!hypothesis)
        return fail(fmt::format("{} is not a transcript", argv[2]));

    WordErrors total;
    fmt::print("words   sub   del   ins      WER\n");
    auto const results = compareWords(reference, *hypothesis);
    for (std::size_t i = 0; i < results.size(); ++i) {
        auto const& errors = results[i];
        total.words += errors.words;
        total.substitutions += errors.substitutions;
        total.deletions += errors.deletions;
        total.insertions += errors.insertions;
        if (results.size() > 1)
            printRow(reference[i].id.empty() ? fmt::format("line {}", i + 1) : reference[i].id, errors);
    }
    printRow("all", total);
    return 0;
}
