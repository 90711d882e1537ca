#include "service/Arguments.h"

#include <charconv>

namespace lingrelay::service {

namespace {

Error wrong(std::string message) { return {Error::Kind::other, std::move(message)}; }

std::optional<unsigned> numberUpTo(unsigned limit, std::string_view text)
{
    unsigned number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number > limit)
        return {};
    return number;
}

/// "--port=1" as "--port", "1".
std::vector<std::string> split(std::vector<std::string> const& words)
{
    std::vector<std::string> result;
    for (auto const& word : words) {
        auto const equals = word.find('=');
        result.push_back(word.substr(0, word.starts_with("--") ? equals : std::string::npos));
        if (word.starts_with("--") && equals != std::string::npos)
            result.push_back(word.substr(equals + 1));
    }
    return result;
}

} // namespace

char const* Arguments::usage()
{
    return "usage: lingrelay-service [--port N] [--script FILE] [--engines offline|script] [--seconds N] [--full]\n"
           "Serves speech recognition, translation and speech on 127.0.0.1, and prints its address and a token.\n"
           "  --port N        listen on this port; without it on any free one\n"
           "  --script FILE   play the timed answers and faults of a JSON file, for tests\n"
           "  --engines NAME  offline (the default) or script (needs --script, and is implied by it)\n"
           "  --seconds N     the service time that is left; without it 100 hours\n"
           "  --full          refuse every session: all places are taken\n";
}

Result<Arguments> Arguments::parse(std::vector<std::string> const& words)
{
    Arguments arguments;
    std::map<std::string, std::string> values{{"--port", ""}, {"--script", ""}, {"--engines", ""}, {"--seconds", ""}};
    bool full = false;
    auto const all = split(words);
    for (std::size_t i = 0; i < all.size(); ++i) {
        auto const& option = all[i];
        if (option == "--help" || option == "-h") {
            arguments.help = true;
            return arguments;
        }
        if (option == "--full") {
            full = true;
            continue;
        }
        if (!values.contains(option))
            return wrong(fmt::format("unknown argument \"{}\": see lingrelay-service --help", option));
        if (i + 1 == all.size() || all[i + 1].empty())
            return wrong(fmt::format("{} needs a value: see lingrelay-service --help", option));
        values[option] = all[++i];
    }
    auto const& engines = values["--engines"];
    auto const& script = values["--script"];
    if (!engines.empty() && engines != "offline" && engines != "script")
        return wrong(fmt::format("--engines takes offline or script, not \"{}\"", engines));
    if (engines == "script" && script.empty())
        return wrong("--engines script needs a script: add --script FILE");
    if (engines == "offline" && !script.empty())
        return wrong("--engines offline plays no script: leave out --engines or --script");
    auto const number = [&values](char const* option, unsigned limit, unsigned standard) -> Result<unsigned> {
        auto const& text = values.at(option);
        auto const found = text.empty() ? standard : numberUpTo(limit, text);
        if (!found)
            return wrong(fmt::format("{} takes a number from 0 to {}, not \"{}\"", option, limit, text));
        return *found;
    };
    auto const port = number("--port", 65535, 0);
    if (!port)
        return port.error();
    arguments.port = static_cast<std::uint16_t>(*port);
    if (!script.empty()) {
        auto loaded = Script::load(script);
        if (!loaded)
            return loaded.error();
        arguments.script = std::move(*loaded);
    }
    auto const seconds = number("--seconds", 1000000000, static_cast<unsigned>(arguments.sessions.remainingSeconds));
    if (!seconds)
        return seconds.error();
    arguments.sessions.remainingSeconds = *seconds;
    if (full)
        arguments.sessions.mostSessions = 0;
    return arguments;
}

} // namespace lingrelay::service
