// lingrelay-sound-guard: waits for the program that started it to end, and puts back what that has left changed in the
// sound server. What that is comes as lines on standard input, which ends when the program does, however it dies.

#include "base/Json.h"
#include "platform/linux/pipewire/PipeWireDevices.h"
#include "platform/linux/pipewire/PipeWireMuter.h"

#include <iostream>
#include <map>
#include <string>

#include <csignal>

using namespace lingrelay;

namespace {

using Value = PipeWireConnection::MetadataValue;

/// For a server that hangs, or comes back. Later the next launch sees to the default input.
constexpr Duration patience = seconds(60);

struct Changes {
    std::string sink;
    PipeWireMuter::Targets streams; ///< and where they were before
    std::string input; ///< the file about the default input; empty: that is not switched

    void take(Json const& change);
    bool any() const { return !sink.empty() || !input.empty(); }
    void putBack(PipeWireConnection& connection) const;
};

void Changes::take(Json const& change)
{
    if (change.contains("sink")) {
        sink = jsonString(change, "sink").value_or("");
        streams.clear();
    }
    if (auto const stream = jsonInteger(change, "stream")) {
        auto const target = jsonString(change, "target");
        streams[static_cast<std::uint32_t>(*stream)]
            = target ? std::optional(Value{jsonString(change, "type").value_or(""), *target}) : std::nullopt;
    }
    if (change.contains("input"))
        input = jsonString(change, "input").value_or("");
}

void Changes::putBack(PipeWireConnection& connection) const
{
    // A number may belong to another stream by now; the sink's name tells.
    PipeWireMuter::Targets left;
    for (auto const& [key, value] : connection.metadata()) {
        if (key.second != "target.object" || sink.empty() || value.value != sink)
            continue;
        auto const before = streams.find(key.first);
        left[key.first] = before == streams.end() ? std::nullopt : before->second;
    }
    PipeWireMuter::giveBack(connection, left);
    connection.sync();
}

/// Not on the loop.
bool waitFor(PipeWireConnection& connection, Instant limit, std::function<bool()> const& condition)
{
    constexpr double look = 0.25; // seconds; some conditions change without news of the server
    while (!connection.waitUntil(look, condition)) {
        if (Clock::now() >= limit)
            return false;
    }
    return true;
}

} // namespace

int main()
{
    for (int const number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        std::signal(number, SIG_IGN); // meant for the program that is guarded
    Changes changes;
    for (std::string line; std::getline(std::cin, line);)
        changes.take(parseJson(line).value_or(Json()));
    if (!changes.any())
        return 0;
    auto const limit = Clock::now() + patience;
    PipeWireConnection connection;
    PipeWireConnection::Lock const lock(connection);
    if (!waitFor(connection, limit, [&] { return connection.connected() && connection.managed(); }))
        return 0;
    changes.putBack(connection);
    if (changes.input.empty())
        return 0;
    SoundGuard none({});
    PipeWireDevices devices(connection, none, changes.input);
    waitFor(connection, limit, [&] { return devices.settled(); });
    return 0;
}
