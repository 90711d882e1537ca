#include "cli/commands/Options.h"

#include "base/Url.h"
#include "cli/commands/StoredKeys.h"
#include "config/Languages.h"

#include <algorithm>
#include <iterator>

#include <unistd.h>

namespace lingrelay {

namespace {

using Problem = std::string; ///< empty: none
namespace fs = std::filesystem;

Problem takeLanguage(std::string_view option, std::string const& text, std::optional<std::string>& value)
{
    value = Catalog::codeOf(text);
    if (!value)
        return fmt::format("{}: \"{}\" is not a known language", option, text);
    if (option == "--to" && value == "auto")
        return "--to: the language to translate into cannot be \"auto\"";
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
    if (Arguments::ending(text) != ".wav")
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
    return choose(option, text, formWords, arguments.format.emplace());
}

Problem takeJson(Arguments& arguments, std::string_view, std::string const&)
{
    arguments.listing = Arguments::Listing::json;
    return {};
}

constexpr Option options[] = {
    {"--preset", "NAME", "a scenario: videoCall, watchVideo, inPerson or textChat", takePreset},
    {"--mode", "listen|speak|both", "which way to translate (default: the stored setting)", takeMode},
    {"--from", "CODE", "language that is spoken, or auto", takeFrom, Option::translating | Option::speaking},
    {"--to", "CODE", "language to translate into", takeTo, Option::translating | Option::speaking},
    {"--output", "FILE.wav|none|device", "where the translated voice goes (default: device; for files none)",
        takeOutput, Option::translating | Option::speaking},
    {"--mic", "NAME", "the microphone (default: the system's)", takeDevice<&Arguments::mic>},
    {"--speakers", "NAME", "what plays the translation (default: the system's)", takeDevice<&Arguments::speakers>},
    {"--pace", "realtime|fast", "feed the file at its own speed (default) or as fast as possible", takePace},
    {"--events", "json", "one JSON object a line on standard output, for programs", takeEvents,
        Option::translating | Option::speaking},
    {"--format", "txt|srt|vtt|json", "the form to export (default: by the file's ending, else txt)", takeFormat,
        Option::archive},
    {"--output", "FILE", "where to export to (default: standard output)", takeExport, Option::archive},
    {"--json", "", "list for programs", takeJson, Option::archive | Option::deviceList},
    {"--set", "KEY=VALUE", "a setting, for this run only; may be repeated", takeSetting,
        Option::translating | Option::archive | Option::speaking},
    {"--defaults", "FILE", "another settings file", takeDefaults,
        Option::translating | Option::archive | Option::settingsStore | Option::speaking},
    {"--sessions", "DIR", "another archive folder", takeSessions, Option::translating | Option::archive},
    {"--stt-url", "URL", "another recognition host", takeUrl<&Arguments::sttUrl, true>},
    {"--tts-url", "URL", "another synthesis host", takeUrl<&Arguments::ttsUrl, true>,
        Option::translating | Option::speaking},
    {"--api-url", "URL", "another host of the provider's REST interface, with /v1", takeUrl<&Arguments::apiUrl, false>},
    {"--backend-url", "URL", "another session backend", takeUrl<&Arguments::backendUrl, false>,
        Option::translating | Option::archive | Option::speaking},
    {"--transcript", "FILE", "write the transcript (.txt, .srt, .vtt or .json); may be repeated", takeTranscript},
    {"--trace", "FILE", "write the time stamps of every clause, as JSON lines", takeTrace},
};

} // namespace

std::span<Option const> Option::all() { return options; }

Option const* Option::find(std::string_view name, unsigned command)
{
    auto const* found = std::find_if(std::begin(options), std::end(options),
        [&](Option const& option) { return option.name == name && (option.commands & command); });
    return found == std::end(options) ? nullptr : found;
}

} // namespace lingrelay
