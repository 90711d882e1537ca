#include "cli/commands/Arguments.h"

#include "base/Text.h"
#include "base/Url.h"
#include "cli/commands/StoredKeys.h"
#include "config/Languages.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace lingrelay {

namespace {

using Problem = std::string; ///< empty: none
namespace fs = std::filesystem;

template <class T> struct Word {
    std::string_view text;
    T value;
};

template <class T, std::size_t N>
Problem choose(std::string_view option, std::string_view text, Word<T> const (&words)[N], T& value)
{
    std::string known;
    for (auto const& word : words) {
        if (word.text == text) {
            value = word.value;
            return {};
        }
        known += (known.empty() ? "" : &word == &words[N - 1] ? " or " : ", ") + std::string(word.text);
    }
    return fmt::format("{} takes {}, not \"{}\"", option, known, text);
}

constexpr Word<Arguments::Form> forms[] = {{"txt", Arguments::Form::text}, {"srt", Arguments::Form::srt},
    {"vtt", Arguments::Form::vtt}, {"json", Arguments::Form::json}};

std::string joined(std::vector<std::string> const& words) { return fmt::format("{}", fmt::join(words, " ")); }

std::string ending(fs::path const& path)
{
    auto text = path.extension().string();
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

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

Problem takeLanguage(std::string_view option, std::string const& text, std::optional<std::string>& value)
{
    if (!Catalog::contains(text))
        return fmt::format("{}: \"{}\" is not a known language", option, text);
    if (option == "--to" && text == "auto")
        return "--to: the language to translate into cannot be \"auto\"";
    value = text;
    return {};
}

template <std::string Arguments::*member, bool webSocket>
Problem takeUrl(Arguments& arguments, std::string_view option, std::string const& text)
{
    if (text.find('@') != std::string::npos) // not repeated: it may hold a password
        return fmt::format("{}: an address with user information or \"@\" cannot be used", option);
    auto const problem = urlProblem(text, webSocket);
    if (!problem.empty())
        return fmt::format("{}: {}", option, problem);
    arguments.*member = text;
    return {};
}

Problem takeMode(Arguments& arguments, std::string_view option, std::string const& text)
{
    using Mode = AppSettings::Mode;
    constexpr Word<Mode> words[] = {{"listen", Mode::listen}, {"speak", Mode::speak}, {"both", Mode::both}};
    return choose(option, text, words, arguments.mode.emplace());
}

Problem takePreset(Arguments& arguments, std::string_view option, std::string const& text)
{
    constexpr Word<Preset> words[] = {{"videoCall", Preset::videoCall}, {"watchVideo", Preset::watchVideo},
        {"inPerson", Preset::inPerson}, {"textChat", Preset::textChat}};
    return choose(option, text, words, arguments.preset.emplace());
}

Problem takeFrom(Arguments& arguments, std::string_view option, std::string const& text)
{
    return takeLanguage(option, text, arguments.from);
}

Problem takeTo(Arguments& arguments, std::string_view option, std::string const& text)
{
    return takeLanguage(option, text, arguments.to);
}

Problem takeOutput(Arguments& arguments, std::string_view, std::string const& text)
{
    if (text == "none" || text == "device") {
        arguments.output = text == "none" ? Arguments::Output::none : Arguments::Output::device;
        return {};
    }
    if (ending(text) != ".wav")
        return fmt::format("--output takes FILE.wav, none or device, not \"{}\"", text);
    arguments.output = Arguments::Output::file;
    arguments.outputFile = text;
    return {};
}

Problem takePace(Arguments& arguments, std::string_view option, std::string const& text)
{
    constexpr Word<Pace> words[] = {{"realtime", Pace::realtime}, {"fast", Pace::fast}};
    return choose(option, text, words, arguments.pace);
}

Problem takeEvents(Arguments& arguments, std::string_view option, std::string const& text)
{
    constexpr Word<Arguments::Events> words[] = {{"json", Arguments::Events::json}};
    return choose(option, text, words, arguments.events);
}

Problem takeSetting(Arguments& arguments, std::string_view, std::string const& text)
{
    auto const mark = text.find('=');
    if (mark == std::string::npos || mark == 0)
        return "--set takes KEY=VALUE";
    auto const key = text.substr(0, mark);
    auto value = storedValue(key, std::string_view(text).substr(mark + 1));
    if (!value)
        return "--set: " + value.error().message;
    arguments.settings.emplace_back(key, std::move(*value));
    return {};
}

Problem takeDefaults(Arguments& arguments, std::string_view, std::string const& text)
{
    std::error_code ignored;
    if (fs::exists(text, ignored) && (!fs::is_regular_file(text, ignored) || ::access(text.c_str(), R_OK) != 0))
        return fmt::format("--defaults: {} cannot be read as a settings file", text);
    arguments.defaults = text;
    return {};
}

Problem takeSessions(Arguments& arguments, std::string_view, std::string const& text)
{
    arguments.sessions = text;
    return {};
}

Problem takeTranscript(Arguments& arguments, std::string_view, std::string const& text)
{
    auto const form = Arguments::formOf(text);
    if (!form)
        return fmt::format("--transcript: {} must end in .txt, .srt, .vtt or .json", text);
    arguments.transcripts.push_back({text, *form});
    return {};
}

Problem takeTrace(Arguments& arguments, std::string_view, std::string const& text)
{
    arguments.trace = text;
    return {};
}

template <std::string Arguments::*member>
Problem takeDevice(Arguments& arguments, std::string_view option, std::string const& text)
{
    if (text.empty())
        return fmt::format("{} takes the name of a device; see lingrelay-cli devices", option);
    arguments.*member = text;
    return {};
}

Problem takeExport(Arguments& arguments, std::string_view, std::string const& text)
{
    arguments.outputFile = text;
    return {};
}

Problem takeFormat(Arguments& arguments, std::string_view option, std::string const& text)
{
    return choose(option, text, forms, arguments.format.emplace());
}

Problem takeJson(Arguments& arguments, std::string_view, std::string const&)
{
    arguments.listing = Arguments::Listing::json;
    return {};
}

/// Commands that an option belongs to.
enum Commands : unsigned { translating = 1, archive = 2, settingsStore = 4, speaking = 8, deviceList = 16 };

struct Option {
    std::string_view name;
    std::string_view value; ///< what it takes, for the help; empty: it stands alone
    std::string_view help;
    Problem (*take)(Arguments&, std::string_view option, std::string const& text);
    unsigned commands = translating;
};

constexpr Option options[] = {
    {"--preset", "NAME", "a scenario: videoCall, watchVideo, inPerson or textChat", takePreset},
    {"--mode", "listen|speak|both", "which way to translate (default: the stored setting)", takeMode},
    {"--from", "CODE", "language that is spoken, or auto", takeFrom, translating | speaking},
    {"--to", "CODE", "language to translate into", takeTo, translating | speaking},
    {"--output", "FILE.wav|none|device", "where the translated voice goes (default: device; for files none)",
        takeOutput, translating | speaking},
    {"--mic", "NAME", "the microphone (default: the system's)", takeDevice<&Arguments::mic>},
    {"--speakers", "NAME", "what plays the translation (default: the system's)", takeDevice<&Arguments::speakers>},
    {"--pace", "realtime|fast", "feed the file at its own speed (default) or as fast as possible", takePace},
    {"--events", "json", "one JSON object a line on standard output, for programs", takeEvents, translating | speaking},
    {"--format", "txt|srt|vtt|json", "the form to export (default: by the file's ending, else txt)", takeFormat,
        archive},
    {"--output", "FILE", "where to export to (default: standard output)", takeExport, archive},
    {"--json", "", "list for programs", takeJson, archive | deviceList},
    {"--set", "KEY=VALUE", "a setting, for this run only; may be repeated", takeSetting,
        translating | archive | speaking},
    {"--defaults", "FILE", "another settings file", takeDefaults, translating | archive | settingsStore | speaking},
    {"--sessions", "DIR", "another archive folder", takeSessions, translating | archive},
    {"--stt-url", "URL", "another recognition host", takeUrl<&Arguments::sttUrl, true>},
    {"--tts-url", "URL", "another synthesis host", takeUrl<&Arguments::ttsUrl, true>, translating | speaking},
    {"--api-url", "URL", "another host of the provider's REST interface, with /v1", takeUrl<&Arguments::apiUrl, false>},
    {"--backend-url", "URL", "another session backend", takeUrl<&Arguments::backendUrl, false>,
        translating | archive | speaking},
    {"--transcript", "FILE", "write the transcript (.txt, .srt, .vtt or .json); may be repeated", takeTranscript},
    {"--trace", "FILE", "write the time stamps of every clause, as JSON lines", takeTrace},
};

Option const* findOption(std::string_view name, unsigned command)
{
    auto const* found = std::find_if(std::begin(options), std::end(options),
        [&](Option const& option) { return option.name == name && (option.commands & command); });
    return found == std::end(options) ? nullptr : found;
}

unsigned commandOf(Arguments const& arguments)
{
    switch (arguments.action) {
    case Arguments::Action::sessions:
        return archive;
    case Arguments::Action::settings:
        return settingsStore;
    case Arguments::Action::devices:
        return deviceList;
    case Arguments::Action::say:
    case Arguments::Action::testVoice:
        return speaking;
    default:
        return translating;
    }
}

Problem takeCommand(Arguments& arguments, std::string const& word)
{
    using Action = Arguments::Action;
    constexpr Word<Action> words[]
        = {{"translate", Action::translate}, {"say", Action::say}, {"test-voice", Action::testVoice},
            {"devices", Action::devices}, {"sessions", Action::sessions}, {"settings", Action::settings}};
    if (choose("", word, words, arguments.action).empty())
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
        arguments.input = word;
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
            auto const* option = findOption(name, commandOf(arguments));
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
    using Action = Arguments::Action;
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

} // namespace

Result<Arguments> Arguments::parse(std::span<std::string const> words)
{
    Arguments arguments;
    for (auto const& word : words) {
        if (word == "--")
            break;
        if (word == "--help" || word == "-h" || word == "--version") {
            arguments.action = word == "--version" ? Action::version : Action::help;
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
    return !text.empty() && choose("", text.substr(1), forms, form).empty() ? std::optional(form) : std::nullopt;
}

std::string Arguments::help()
{
    auto const row
        = [](std::string const& name, std::string_view meaning) { return fmt::format("  {:<36}{}\n", name, meaning); };
    auto const optionsOf = [&](unsigned command) {
        std::string rows;
        for (auto const& option : options) {
            if (option.commands & command)
                rows += row(fmt::format("{} {}", option.name, option.value), option.help);
        }
        return rows;
    };
    return "lingrelay-cli translate [FILE] [OPTION...]\n"
           "Translates live what this computer plays and what you say, or the speech in a sound file: captions, a "
           "voice,\n"
           "a transcript. Ctrl-C stops.\n\n"
        + optionsOf(translating)
        + "\nlingrelay-cli say TEXT [OPTION...]\n"
          "Translates a line of yours and speaks it where the other side hears it.\n"
          "lingrelay-cli test-voice [OPTION...]\n"
          "Speaks a test sentence there.\n\n"
        + optionsOf(speaking)
        + "\nlingrelay-cli devices [list|install-virtual|remove-virtual] [OPTION...]\n"
          "Lists microphones and outputs with the defaults and what sounds now; makes or takes away the virtual\n"
          "microphone that call programs can use.\n\n"
        + optionsOf(deviceList)
        + "\nlingrelay-cli sessions list|show ID|search TEXT|export ID|delete ID|summarize ID [OPTION...]\n"
          "The archive of past sessions. ID is the beginning of a session's, or \"last\".\n\n"
        + optionsOf(archive)
        + "\nlingrelay-cli settings [KEY [VALUE]] [OPTION...]\n"
          "Lists, shows or stores settings.\n\n"
        + optionsOf(settingsStore) + '\n' + row("--help", "this text") + row("--version", "the version")
        + "\nWithout a key (--set k.soniox=KEY) and without hosts, the local service is used.\n"
          "Exit status: 0 done or stopped, 1 the service failed or refused, 2 bad arguments.\n";
}

} // namespace lingrelay
