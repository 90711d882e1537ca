#include "service/engines/Translator.h"

#include "base/Log.h"
#include "base/Text.h"
#include "service/engines/Languages.h"
#include "service/engines/Sentences.h"

#include <array>
#include <filesystem>
#include <fstream>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>

namespace lingrelay::service {

namespace {

constexpr auto answerTime = seconds(5.0);
constexpr std::string_view textEnd = "[][\n]"; ///< without it the last word is held back
constexpr std::string_view stops = ".!?";

/// Programs that answer at a zero byte when they are given -z.
constexpr std::array<std::string_view, 16> flushing{"lt-proc", "lrx-proc", "lsx-proc", "hfst-proc", "cg-proc",
    "rtx-proc", "apertium-tagger", "apertium-pretransfer", "apertium-posttransfer", "apertium-transfer",
    "apertium-interchunk", "apertium-postchunk", "apertium-anaphora", "apertium-extract-caps", "apertium-restore-caps",
    "apertium-wblank-attach"};

std::string replaced(std::string_view text, std::string_view what, std::string_view with)
{
    std::string result;
    for (auto at = text.find(what); at != std::string_view::npos; at = text.find(what)) {
        result += text.substr(0, at);
        result += with;
        text.remove_prefix(at + what.size());
    }
    return result += text;
}

std::string fileText(std::filesystem::path const& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool endsSentence(std::string_view text) { return !text.empty() && stops.find(text.back()) != std::string_view::npos; }

} // namespace

std::optional<std::string> flushingPipeline(std::string_view mode)
{
    std::string command;
    mode = trimWhitespace(mode);
    while (!mode.empty()) {
        auto const bar = std::min(mode.find('|'), mode.size());
        auto const stage = trimWhitespace(mode.substr(0, bar));
        mode.remove_prefix(std::min(bar + 1, mode.size()));
        auto const nameEnd = std::min(stage.find(' '), stage.size());
        auto const program = stage.substr(0, nameEnd);
        if (std::find(flushing.begin(), flushing.end(), program) == flushing.end())
            return {};
        // Unknown words come out as they are ($1), and the tagger has no further option ($2).
        auto const rest = replaced(replaced(stage.substr(nameEnd), "$1", "-n"), "$2", "");
        command += fmt::format("{}{} -z{}", command.empty() ? "" : " | ", program, rest);
    }
    return command.empty() ? std::nullopt : std::optional(command);
}

std::string pipelineText(std::string_view text)
{
    std::string clean;
    for (char const letter : trimWhitespace(text)) {
        bool const syntax = std::string_view("^$/<>{}[]\\@#+~*_|").find(letter) != std::string_view::npos;
        clean += syntax || static_cast<unsigned char>(letter) < ' ' ? ' ' : letter;
    }
    clean = std::string(trimWhitespace(clean));
    return fmt::format("{}{}{}", clean, endsSentence(clean) ? "" : ".", textEnd);
}

std::string plainTranslation(std::string_view output, bool ended)
{
    auto const end = output.rfind("[][");
    std::string text;
    for (char const letter : output.substr(0, end)) {
        if (letter == '\\' || (letter == ' ' && (text.empty() || text.back() == ' ')))
            continue;
        text += letter;
    }
    text = std::string(trimWhitespace(text));
    if (!ended && text.ends_with('.'))
        text.pop_back();
    return text;
}

Translator::Translator(asio::any_io_executor executor, std::string const& modesFolder) : m_executor(std::move(executor))
{
    std::error_code error;
    for (auto const& entry : std::filesystem::directory_iterator(modesFolder, error)) {
        auto const name = entry.path().stem().string();
        auto const dash = name.find('-');
        if (entry.path().extension() != ".mode" || dash == std::string::npos
            || name.find('-', dash + 1) != std::string::npos)
            continue;
        auto const target = shortLanguageCode(name.substr(dash + 1));
        bool const variant = name.find('_', dash) != std::string::npos;
        if (shortLanguageCode(name.substr(0, dash)) != "en" || target.empty() || (variant && m_pairs.contains(target)))
            continue;
        if (auto command = flushingPipeline(fileText(entry.path())))
            m_pairs[target] = {std::move(*command), nullptr, false, std::make_unique<Signal>(m_executor)};
    }
}

Translator::~Translator() = default;

std::vector<std::string> Translator::targets() const
{
    std::vector<std::string> codes;
    for (auto const& [target, pair] : m_pairs)
        codes.push_back(target);
    return codes;
}

void Translator::warm(std::string const& target)
{
    if (auto const found = m_pairs.find(target); found != m_pairs.end() && !found->second.process)
        start(found->second);
}

bool Translator::start(Pair& pair)
{
    auto process = ChildProcess::start(m_executor, {"/bin/sh", "-c", pair.command});
    if (!process) {
        Log::write("[service] translation: {}", process.error().message);
        return false;
    }
    pair.process = std::move(*process);
    return true;
}

asio::awaitable<std::optional<std::string>> Translator::translate(std::string target, std::string text)
{
    auto const found = m_pairs.find(target);
    if (found == m_pairs.end())
        co_return std::nullopt;
    auto& pair = found->second;
    while (pair.busy)
        co_await pair.idle->wait();
    pair.busy = true;
    std::optional<std::string> answer;
    for (int attempt = 0; attempt < 2 && !answer; ++attempt) {
        if (pair.process || start(pair))
            answer = co_await ask(pair, text);
        if (!answer)
            pair.process.reset();
    }
    pair.busy = false;
    pair.idle->notify();
    co_return answer;
}

asio::awaitable<std::optional<std::string>> Translator::ask(Pair& pair, std::string const& text)
{
    // A pipeline that hangs is cut off by closing its pipes, which ends the waits below.
    asio::steady_timer limit(m_executor, answerTime);
    limit.async_wait([weak = std::weak_ptr(pair.process)](boost::system::error_code error) {
        if (auto const process = weak.lock(); process && !error) {
            process->input().close();
            process->output().close();
        }
    });
    auto question = pipelineText(text);
    question += '\0';
    auto const [writeError, written]
        = co_await asio::async_write(pair.process->input(), asio::buffer(question), quietly);
    std::string output;
    std::array<char, 4096> part;
    bool good = !writeError;
    while (good && !output.ends_with('\0')) {
        auto const [error, count] = co_await pair.process->output().async_read_some(asio::buffer(part), quietly);
        good = !error && count > 0;
        output.append(part.data(), count);
    }
    limit.cancel();
    if (!good)
        co_return std::nullopt;
    output.pop_back();
    auto translation = plainTranslation(output, endsSentence(trimWhitespace(text)));
    if ((translation.empty() && hasWords(text)) || !isUtf8(translation))
        co_return std::nullopt;
    co_return translation;
}

} // namespace lingrelay::service
