// lingrelay-sound-guard: waits for the program that started it to end, and puts back what that has left changed in the
// sound server. What that is comes as lines on standard input, which ends when the program does, however it dies.

#include "base/Json.h"
#include "platform/linux/pipewire/PipeWireDevices.h"
#include "platform/linux/pipewire/StreamTargets.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <string>

#include <csignal>

using namespace lingrelay;

namespace {

using Value = StreamTargets::Value;

/// For a server that hangs, or comes back. Later the next launch sees to the default input.
constexpr Duration patience = seconds(60);
constexpr double pinTime = 0.5; ///< seconds for the session manager to have followed the end of the sink

struct Changes {
    std::string sink;
    StreamTargets::Befores streams; ///< and where they were before
    std::string input; ///< the file about the default input; empty: that is not switched

    void take(Json const& change);
    bool any() const { return !sink.empty() || !input.empty(); }
    StreamTargets::Befores putBack(PipeWireConnection& connection) const; ///< what has been in the sink
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
            = {target ? std::optional(Value{jsonString(change, "type").value_or(""), *target}) : std::nullopt,
                jsonBool(change, "follows").value_or(false)};
    }
    if (change.contains("input"))
        input = jsonString(change, "input").value_or("");
}

StreamTargets::Befores Changes::putBack(PipeWireConnection& connection) const
{
    // A number may belong to another stream by now; the sink's name tells.
    StreamTargets targets(connection);
    StreamTargets::Befores left;
    for (auto const& [stream, target] : targets.all()) {
        if (sink.empty() || target.value != sink)
            continue;
        auto const before = streams.find(stream);
        left[stream] = before == streams.end() ? StreamTargets::Before{} : before->second;
    }
    targets.giveBack(left);
    connection.sync();
    return left;
}

/// A session manager that missed the sink before the streams were given back can still pin them on the default, which
/// ends what they ask for themselves.
void endPins(PipeWireConnection& connection, StreamTargets::Befores const& streams)
{
    StreamTargets targets(connection);
    auto const pinned = [&](auto const& entry) { return !entry.second.follows && targets.follows(entry.first); };
    connection.waitUntil(pinTime, [&] { return std::any_of(streams.begin(), streams.end(), pinned); });
    for (auto const& entry : streams) {
        if (pinned(entry))
            targets.forget(entry.first);
    }
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
    auto const streams = changes.putBack(connection);
    if (!changes.input.empty()) {
        SoundGuard none({});
        PipeWireDevices devices(connection, none, changes.input);
        waitFor(connection, limit, [&] { return devices.settled(); });
    }
    if (!streams.empty())
        endPins(connection, streams);
    return 0;
}
