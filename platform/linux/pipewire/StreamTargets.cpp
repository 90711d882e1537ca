#include "platform/linux/pipewire/StreamTargets.h"

#include "platform/linux/pipewire/MuteSink.h"

#include <algorithm>
#include <cstdlib>

namespace lingrelay {

namespace {

using Object = StreamTargets::Object;

/// What an older session manager has remembered of a program. A newer one puts that into the target itself.
constexpr char const* rememberedKey = "target.node";
constexpr std::string_view followsDefault = "-1"; ///< a target that is the default

bool isOutput(Object const& object)
{
    auto const& kind = object.get(PW_KEY_MEDIA_CLASS);
    return object.type == PW_TYPE_INTERFACE_Node && (kind.starts_with("Audio/Sink") || kind == "Audio/Duplex");
}

std::uint32_t idIn(StreamTargets::Value const& value)
{
    return static_cast<std::uint32_t>(std::atoi(value.value.c_str()));
}

} // namespace

std::map<std::uint32_t, StreamTargets::Value> StreamTargets::all() const
{
    std::map<std::uint32_t, Value> found;
    for (auto const& [place, value] : m_connection.metadata().values()) {
        if (place.second == key)
            found[place.first] = value;
    }
    return found;
}

void StreamTargets::set(std::uint32_t stream, std::optional<Value> const& target)
{
    m_connection.metadata().set(stream, key, target);
}

std::optional<StreamTargets::Value> StreamTargets::remembered(std::uint32_t stream) const
{
    return m_connection.metadata().get(stream, rememberedKey);
}

bool StreamTargets::follows(std::uint32_t stream) const
{
    auto const device = remembered(stream);
    return device && device->value == followsDefault;
}

void StreamTargets::forget(std::uint32_t stream) { m_connection.metadata().set(stream, rememberedKey, {}); }

void StreamTargets::giveBack(Befores const& befores)
{
    std::set<std::uint32_t> ended;
    for (auto const& [stream, before] : befores) {
        auto const* const device = chosenOutput(before.target);
        auto const known = remembered(stream);
        // What has been lent ends. So does the default, on which session managers pin a program with a device of its
        // own that has been there for want of the mute sink.
        bool const ends
            = known && (device ? known->value == std::to_string(device->id) : follows(stream) && !before.follows);
        if (ends) {
            forget(stream);
            ended.insert(stream);
        }
        set(stream, before.target);
    }
    if (!befores.empty())
        keepRemembered(ended);
}

/// Only what changes is heeded, and a stream without it for a moment would be moved.
void StreamTargets::remember(std::uint32_t stream, Value const& device)
{
    m_connection.metadata().set(stream, rememberedKey, Value{"Spa:String", device.value});
    m_connection.metadata().set(stream, rememberedKey, device);
}

std::optional<StreamTargets::Value> StreamTargets::lend(std::uint32_t stream, std::optional<Value> const& target)
{
    auto const* const device = chosenOutput(target);
    if (!device)
        return {};
    Value const value{"Spa:Id", std::to_string(device->id)};
    remember(stream, value);
    return value;
}

void StreamTargets::keepRemembered(std::set<std::uint32_t> const& except)
{
    std::map<std::uint32_t, Value> known;
    for (auto const& [place, value] : m_connection.metadata().values()) {
        auto const* const stream = m_connection.find(place.first);
        if (place.second != rememberedKey || value.value == followsDefault || !stream
            || !m_connection.foreignStream(*stream) || except.contains(place.first))
            continue;
        // A number, which can be another object's by now.
        auto const* const device = m_connection.find(idIn(value));
        if (device && isOutput(*device) && !MuteSink::is(device->get(PW_KEY_NODE_NAME)))
            known[place.first] = value;
    }
    for (auto const& [stream, device] : known)
        remember(stream, device);
}

void StreamTargets::holdFor(std::uint32_t stream, std::optional<Value> const& target)
{
    auto const* const device = deviceOf(stream, target);
    auto const channels = m_connection.ports(stream, "out").size();
    // One that is held is on its way to a device from which it is moved once more.
    bool const moves = device && (m_connection.ports(device->id, "in").size() != channels || m_connection.held(stream));
    if (channels > 0 && moves)
        m_connection.hold(stream, device->id);
}

/// The output that a target chooses by its serial, which is what session managers remember of a program.
Object const* StreamTargets::chosenOutput(std::optional<Value> const& target) const
{
    auto const& objects = m_connection.objects();
    auto const found = std::find_if(objects.begin(), objects.end(), [&](auto const& entry) {
        return target && isOutput(entry.second) && entry.second.get(PW_KEY_OBJECT_SERIAL) == target->value;
    });
    return found == objects.end() ? nullptr : &found->second;
}

/// Where a stream goes with that target, by the session manager's rules.
Object const* StreamTargets::deviceOf(std::uint32_t stream, std::optional<Value> const& target) const
{
    auto const known = remembered(stream);
    if (!target && known && known->value != followsDefault)
        return m_connection.find(idIn(*known));
    auto const* const object = m_connection.find(stream);
    auto const name = target ? target->value : object && !known ? object->get(key) : "";
    for (auto const& [id, node] : m_connection.objects()) {
        bool const named = node.get(PW_KEY_NODE_NAME) == name || node.get(PW_KEY_OBJECT_SERIAL) == name;
        if (!name.empty() && node.type == PW_TYPE_INTERFACE_Node && named)
            return &node;
    }
    return m_connection.node(m_connection.nameIn("default.audio.sink"));
}

} // namespace lingrelay
