#include "service/Arguments.h"

#include <charconv>

namespace lingrelay {

namespace {

Error wrong(std::string message) { return {Error::Kind::other, std::move(message)}; }

std::optional<std::uint16_t> portOf(std::string_view text)
{
    unsigned port = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port > 65535)
        return {};
    return static_cast<std::uint16_t>(port);
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
    return "usage: lingrelay-service [--port N] [--script FILE] [--engines offline|script]\n"
           "Serves speech recognition, translation and speech on 127.0.0.1, and prints its address and a token.\n"
           "  --port N        listen on this port; without it on any free one\n"
           "  --script FILE   play the timed answers and faults of a JSON file, for tests\n"
           "  --engines NAME  offline (the default) or script (needs --script, and is implied by it)\n";
}

Result<Arguments> Arguments::parse(std::vector<std::string> const& words)
{
    Arguments arguments;
    std::string engines;
    std::string script;
    auto const all = split(words);
    for (std::size_t i = 0; i < all.size(); ++i) {
        auto const& option = all[i];
        if (option == "--help" || option == "-h") {
            arguments.help = true;
            return arguments;
        }
        if (option != "--port" && option != "--script" && option != "--engines")
            return wrong(fmt::format("unknown argument \"{}\": see lingrelay-service --help", option));
        if (i + 1 == all.size())
            return wrong(fmt::format("{} needs a value: see lingrelay-service --help", option));
        auto const& value = all[++i];
        if (option == "--script") {
            script = value;
        } else if (option == "--engines") {
            engines = value;
        } else if (auto const port = portOf(value)) {
            arguments.port = *port;
        } else {
            return wrong(fmt::format("--port takes a number from 0 to 65535, not \"{}\"", value));
        }
    }
    if (!engines.empty() && engines != "offline" && engines != "script")
        return wrong(fmt::format("--engines takes offline or script, not \"{}\"", engines));
    if (engines == "script" && script.empty())
        return wrong("--engines script needs a script: add --script FILE");
    if (engines == "offline" && !script.empty())
        return wrong("--engines offline plays no script: leave out --engines or --script");
    if (!script.empty()) {
        auto loaded = Script::load(script);
        if (!loaded)
            return loaded.error();
        arguments.script = std::move(*loaded);
    }
    return arguments;
}

} // namespace lingrelay
