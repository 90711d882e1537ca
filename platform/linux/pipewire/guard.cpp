// lingrelay-sound-guard: waits for the program that started it to end, and puts back what that has left changed in the
// sound server. What that is comes as lines on standard input, which ends when the program does, however it dies.

#include "base/Json.h"
#include "platform/linux/pipewire/PipeWireMuter.h"
#include "platform/linux/pipewire/SwitchedInput.h"

#include <iostream>
#include <map>
#include <string>

#include <csignal>

using namespace lingrelay;

namespace {

using Value = PipeWireConnection::MetadataValue;
constexpr char const* configuredInput = "default.configured.audio.source";

struct Changes {
    std::string sink;
    std::map<std::uint32_t, std::optional<Value>> streams; ///< and where they were before
    std::string input; ///< the node that was made the default input; empty: none
    std::string before; ///< and the node that was it
    std::optional<std::string> configured; ///< what had been chosen

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
    if (auto const* const switched = jsonMember(change, "input")) {
        input = jsonString(*switched, "virtual").value_or("");
        before = jsonString(*switched, "effective").value_or("");
        configured = jsonString(*switched, "configured");
    }
}

void Changes::putBack(PipeWireConnection& connection) const
{
    // A number may belong to another stream by now; the sink's name tells.
    std::map<std::uint32_t, std::optional<Value>> left;
    for (auto const& [key, value] : connection.metadata()) {
        if (key.second != "target.object" || sink.empty() || value.value != sink)
            continue;
        auto const before = streams.find(key.first);
        left[key.first] = before == streams.end() ? std::nullopt : before->second;
    }
    for (auto const& [stream, before] : left)
        connection.setMetadata(stream, "target.object", before);
    if (!left.empty())
        PipeWireMuter::keepRemembered(connection);
    if (!input.empty() && connection.nameIn(configuredInput) == input)
        SwitchedInput::restore(connection, before, configured);
    connection.sync();
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
    PipeWireConnection connection;
    PipeWireConnection::Lock const lock(connection);
    if (connection.connected())
        changes.putBack(connection);
    return 0;
}
