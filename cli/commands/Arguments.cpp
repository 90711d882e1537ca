#include "cli/commands/Arguments.h"

#include "base/Text.h"
#include "cli/commands/Options.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace lingrelay {

namespace {

using Problem = std::string; ///< empty: none
namespace fs = std::filesystem;
using Action = Arguments::Action;

constexpr Word<Action> commandWords[]
    = {{"translate", Action::translate}, {"say", Action::say}, {"test-voice", Action::testVoice},
        {"devices", Action::devices}, {"sessions", Action::sessions}, {"settings", Action::settings}};

std::string joined(std::vector<std::string> const& words) { return fmt::format("{}", fmt::join(words, " ")); }

/// Tries to open the file for writing as the run will at its end; leaves nothing behind and changes no content.
Problem writingProblem(fs::path const& path)
{
    auto const failed = [&] { return fmt::format("{}: cannot be written: {}", path.string(), std::strerror(errno)); };
    if (int const made = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644); made >= 0) {
        ::close(made);
        ::unlink(path.c_str());
        return {};
    }
    if (errno != EEXIST)
        return failed();
    int const file = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0)
        return failed();
    ::close(file);
    return {};
}

unsigned commandOf(Arguments const& arguments)
{
    switch (arguments.action) {
    case Arguments::Action::sessions:
        return Option::archive;
    case Arguments::Action::settings:
        return Option::settingsStore;
    case Arguments::Action::devices:
        return Option::deviceList;
    case Arguments::Action::say:
    case Arguments::Action::testVoice:
        return Option::speaking;
    default:
        return Option::translating;
    }
}

Problem takeCommand(Arguments& arguments, std::string const& word)
{
    if (choose("", word, commandWords, arguments.action).empty())
        return {};
    return fmt::format("there is no command \"{}\"; see lingrelay-cli --help", word);
}

Problem takeOperand(Arguments& arguments, std::string const& word)
{
    if (arguments.action != Arguments::Action::translate)
        arguments.words.push_back(word);
    else if (arguments.input)
        return fmt::format("one sound file at a time: \"{}\" is one too many", word);
    else
        arguments.input = word == "-" ? "/dev/stdin" : word;
    return {};
}

/// A dash and what is no number.
bool looksLikeOption(std::string const& word)
{
    return word.size() > 1 && word.front() == '-' && std::string_view(".0123456789").find(word[1]) == std::string::npos;
}

/// Reads the words into `arguments`; files are not yet looked at.
Problem read(std::span<std::string const> words, Arguments& arguments)
{
    bool optionsEnded = false;
    bool hasCommand = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        auto const& word = words[i];
        Problem problem;
        if (!optionsEnded && word == "--") {
            optionsEnded = true;
        } else if (!optionsEnded && looksLikeOption(word)) {
            auto const mark = word.find('=');
            auto const name = word.substr(0, mark);
            auto const* option = Option::find(name, commandOf(arguments));
            if (!option)
                return fmt::format("there is no option {}; see lingrelay-cli --help", name);
            if (option->value.empty() && mark != std::string::npos)
                return fmt::format("{} takes no value", name);
            if (!option->value.empty() && mark == std::string::npos && ++i == words.size())
                return fmt::format("{} needs a value: {}", name, option->value);
            problem = option->take(arguments, name, mark == std::string::npos ? words[i] : word.substr(mark + 1));
        } else {
            problem = std::exchange(hasCommand, true) ? takeOperand(arguments, word) : takeCommand(arguments, word);
        }
        if (!problem.empty())
            return problem;
    }
    return hasCommand ? "" : "nothing to do; see lingrelay-cli --help";
}

Problem wordsProblem(Arguments const& arguments)
{
    auto const& words = arguments.words;
    if (arguments.action == Action::say && trimWhitespace(joined(words)).empty())
        return "say takes the text to be spoken";
    if (arguments.action == Action::testVoice && !words.empty())
        return fmt::format("test-voice takes no text: \"{}\"", words[0]);
    if (arguments.action == Action::translate && !arguments.input && arguments.pace == Pace::fast)
        return "--pace fast needs a sound file: live sound has its own pace";
    return {};
}

Problem filesProblem(Arguments const& arguments)
{
    std::vector<fs::path> written;
    if (!arguments.outputFile.empty())
        written.push_back(arguments.outputFile);
    for (auto const& transcript : arguments.transcripts)
        written.push_back(transcript.path);
    if (arguments.trace)
        written.push_back(*arguments.trace);
    std::error_code ignored;
    for (auto path = written.begin(); path != written.end(); ++path) {
        if (std::find(written.begin(), path, *path) != path)
            return fmt::format("{} is named for two outputs", path->string());
        if (arguments.input && fs::equivalent(*path, *arguments.input, ignored))
            return fmt::format("{} is the input: it would be overwritten", path->string());
        if (auto problem = writingProblem(*path); !problem.empty())
            return problem;
    }
    return {};
}

/// The command among the words, whatever is wrong with them.
std::optional<Action> commandIn(std::span<std::string const> words)
{
    Action action{};
    for (auto const& word : words) {
        if (choose("", word, commandWords, action).empty())
            return action;
    }
    return {};
}

/// What the help says about commands that take the same options.
struct Chapter {
    Action action;
    Action other;
    unsigned options;
    std::string_view text;
};

constexpr Chapter chapters[] = {
    {Action::translate, Action::translate, Option::translating,
        "lingrelay-cli translate [FILE] [OPTION...]\n"
        "Translates live what this computer plays and what you say, or the speech in a sound file: captions, a voice,\n"
        "a transcript. FILE may be a pipe, and - is standard input: it is read to its end first. Ctrl-C stops.\n"},
    {Action::say, Action::testVoice, Option::speaking,
        "lingrelay-cli say TEXT [OPTION...]\n"
        "Translates a line of yours and speaks it where the other side hears it.\n"
        "lingrelay-cli test-voice [OPTION...]\n"
        "Speaks a test sentence there.\n"},
    {Action::devices, Action::devices, Option::deviceList,
        "lingrelay-cli devices [list|install-virtual|remove-virtual] [OPTION...]\n"
        "Lists microphones and outputs with the defaults and what sounds now; makes or takes away the virtual\n"
        "microphone that call programs can use.\n"},
    {Action::sessions, Action::sessions, Option::archive,
        "lingrelay-cli sessions list|show ID|search TEXT|export ID|delete ID|summarize ID [OPTION...]\n"
        "The archive of past sessions. ID is the beginning of a session's, or \"last\".\n"},
    {Action::settings, Action::settings, Option::settingsStore,
        "lingrelay-cli settings [KEY [VALUE]] [OPTION...]\n"
        "Lists, shows or stores settings.\n"},
};

std::string row(std::string const& name, std::string_view meaning)
{
    return fmt::format("  {:<36}{}\n", name, meaning);
}

std::string optionRows(unsigned command)
{
    std::string rows;
    for (auto const& option : Option::all()) {
        if (option.commands & command)
            rows += row(fmt::format("{} {}", option.name, option.value), option.help);
    }
    return rows;
}

} // namespace

Result<Arguments> Arguments::parse(std::span<std::string const> words)
{
    Arguments arguments;
    for (auto const& word : words) {
        if (word == "--")
            break;
        if (word == "--help" || word == "-h" || word == "--version") {
            arguments.action = word == "--version" ? Action::version : Action::help;
            arguments.helpFor = commandIn(words);
            return arguments;
        }
    }
    for (auto check : {+[](std::span<std::string const> all, Arguments&into) { return read(all, into); },
             +[](std::span<std::string const>, Arguments&into) { return wordsProblem(into); },
             +[](std::span<std::string const>, Arguments&into) { return filesProblem(into); }}) {
        if (auto problem = check(words, arguments); !problem.empty())
            return Error{Error::Kind::other, std::move(problem)};
    }
    return arguments;
}

std::optional<Arguments::Form> Arguments::formOf(fs::path const& path)
{
    Form form{};
    auto const text = ending(path);
    return !text.empty() && choose("", text.substr(1), formWords, form).empty() ? std::optional(form) : std::nullopt;
}

std::string Arguments::ending(fs::path const& path)
{
    auto text = path.extension().string();
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::string Arguments::help(std::optional<Action> command)
{
    std::string text;
    for (auto const& chapter : chapters) {
        if (!command || *command == chapter.action || *command == chapter.other)
            text += std::string(chapter.text) + '\n' + optionRows(chapter.options) + '\n';
    }
    return text + row("--help", command ? "this text" : "this text; behind a command what belongs to that")
        + row("--version", "the version")
        + "\nWithout a key (--set k.soniox=KEY) and without hosts, the local service is used.\n"
          "Exit status: 0 done or stopped, 1 the service failed or refused or something was lost, 2 bad arguments.\n";
}

} // namespace lingrelay
