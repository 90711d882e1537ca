#include "platform/linux/pipewire/PipeWireMuter.h"

#include "base/Log.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <fmt/format.h>
#include <unistd.h>

namespace lingrelay {

namespace {

constexpr std::string_view sinkPrefix = "lingrelay.mute.";
constexpr char const* targetKey = "target.object";
/// What an older session manager has remembered of a program. A newer one puts that into the target itself.
constexpr char const* rememberedKey = "target.node";
constexpr std::string_view followsDefault = "-1"; ///< a target that is the default
constexpr double sinkLimit = 1.0; ///< seconds until the sink is there
constexpr double leaveLimit = 0.5; ///< seconds until the streams have left it
constexpr Duration echoLimit = seconds(0.5); ///< until a move is asked for again
constexpr Duration retryTime = seconds(1); ///< after a sink that the server could not make
constexpr Duration moveTime = seconds(0.5); ///< in which the session manager has ended the links of before
constexpr Duration guardTime = seconds(1); ///< that a dead instance's guard has for giving streams back

using Value = PipeWireConnection::MetadataValue;

bool isOutput(PipeWireConnection::Object const& object)
{
    auto const& kind = object.get(PW_KEY_MEDIA_CLASS);
    return object.type == PW_TYPE_INTERFACE_Node && (kind.starts_with("Audio/Sink") || kind == "Audio/Duplex");
}

/// The output that a target chooses by its serial, which is what session managers remember of a program.
PipeWireConnection::Object const* chosenOutput(PipeWireConnection const& connection, std::optional<Value> const& target)
{
    auto const& objects = connection.objects();
    auto const found = std::find_if(objects.begin(), objects.end(), [&](auto const& entry) {
        return target && isOutput(entry.second) && entry.second.get(PW_KEY_OBJECT_SERIAL) == target->value;
    });
    return found == objects.end() ? nullptr : &found->second;
}

/// Only what changes is heeded, and a stream without it for a moment would be moved.
void remember(PipeWireConnection& connection, std::uint32_t stream, Value const& device)
{
    connection.setMetadata(stream, rememberedKey, Value{"Spa:String", device.value});
    connection.setMetadata(stream, rememberedKey, device);
}

} // namespace

/// The sink, and the streams in it.
class PipeWireMuter::Sink final : public SoundMuter::Silence, private PipeWireConnection::Member {
public:
    explicit Sink(PipeWireMuter& muter)
        : m_muter(muter)
        , m_connection(muter.m_connection)
        , m_guard(muter.m_guard)
        , m_name(ownSink())
    {
    }
    ~Sink() override;

    /// 0, or the server's error. Under the connection's lock.
    int make();
    /// Begins to move streams.
    void begin();

private:
    struct Moved {
        std::string serial; ///< the stream's; a number is given to others later
        Before before;
        Instant asked{};
        bool seen = false; ///< the server has told that it is in the sink
        bool sure = false; ///< all that is told of the stream has been read
        std::string remembered = {}; ///< its device, which has been kept
        bool lent = false; ///< that has been made known by this program
    };

    void create();
    void destroy();
    bool isEmpty() const;
    void disconnected() override;
    void changed() override;
    void tick() override;
    void told(std::uint32_t subject, std::string const& key, std::optional<Value> const& value) override;
    void move(PipeWireConnection::Object const& stream);
    void noteBefore(std::uint32_t stream, Moved& moved, std::optional<Value> const& target);
    void lend(std::uint32_t stream, Moved& moved);
    void holdFor(std::uint32_t stream, std::optional<Value> const& target);
    void keepRemembered();
    void endDoubledLinks();
    PipeWireConnection::Object const* deviceOf(std::uint32_t stream, std::optional<Value> const& target) const;

    PipeWireMuter& m_muter;
    PipeWireConnection& m_connection;
    SoundGuard& m_guard;
    std::string m_name;
    pw_proxy* m_proxy = nullptr;
    spa_hook m_listener{};
    int m_error = 0;
    Instant m_made{}; ///< the sink, or tried to
    bool m_begun = false;
    bool m_lost = false; ///< somebody has taken the sink away
    bool m_moving = false; ///< which makes changes by itself
    std::map<std::uint32_t, Moved> m_moved;
    std::map<std::uint32_t, Instant> m_doubled; ///< links besides those to the sink, and since when
};

void PipeWireMuter::Sink::create()
{
    if (m_proxy)
        return;
    static pw_proxy_events const events = [] {
        pw_proxy_events result{};
        result.version = PW_VERSION_PROXY_EVENTS;
        result.removed = [](void* self) { static_cast<Sink*>(self)->m_lost = true; };
        result.error = [](void* self, int, int code, char const*) { static_cast<Sink*>(self)->m_error = code; };
        return result;
    }();
    // Its description must not look like the virtual microphone's, and nothing may choose it by itself.
    auto* const properties = pw_properties_new(PW_KEY_FACTORY_NAME, "support.null-audio-sink", PW_KEY_NODE_NAME,
        m_name.c_str(), PW_KEY_NODE_DESCRIPTION, "Muted by Lingrelay", PW_KEY_MEDIA_CLASS, "Audio/Sink",
        "audio.position", "FL,FR", PW_KEY_PRIORITY_SESSION, "0", nullptr);
    m_error = 0;
    m_lost = false;
    m_made = Clock::now();
    m_proxy = static_cast<pw_proxy*>(pw_core_create_object(
        m_connection.core(), "adapter", PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, &properties->dict, 0));
    pw_properties_free(properties);
    m_listener = {};
    if (!m_proxy)
        m_error = -errno;
    else
        pw_proxy_add_listener(m_proxy, &m_listener, &events, this);
}

int PipeWireMuter::Sink::make()
{
    create();
    bool const there = m_connection.waitUntil(
        sinkLimit, [this] { return m_error != 0 || !m_connection.connected() || m_connection.node(m_name); });
    if (m_error == 0 && (!there || !m_connection.connected()))
        m_error = -ETIMEDOUT;
    return m_error;
}

void PipeWireMuter::Sink::begin()
{
    m_begun = true;
    ++m_muter.m_sinks;
    m_guard.note({{"sink", m_name}});
    m_connection.add(*this);
}

PipeWireMuter::Sink::~Sink()
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.remove(*this);
    Targets left;
    for (auto const& [stream, moved] : m_moved) {
        auto const now = m_connection.metadata(stream, targetKey);
        // Else the user has moved it meanwhile.
        if (now && now->value == m_name)
            left[stream] = moved.before;
        else if (!moved.seen) // the move may still be on its way, and comes before this
            left[stream] = now && isMuteSink(now->value) ? moved.before : Before{now, moved.before.follows};
    }
    for (auto const& [stream, before] : left)
        holdFor(stream, before.target);
    giveBack(m_connection, left);
    // A sink that went first would have the session manager move each of them twice.
    if (!m_moved.empty())
        m_connection.waitUntil(leaveLimit, [this] { return !m_connection.connected() || isEmpty(); });
    destroy();
    if (m_begun) {
        m_guard.note({{"sink", nullptr}});
        --m_muter.m_sinks;
    }
}

bool PipeWireMuter::Sink::isEmpty() const
{
    auto const* const sink = m_connection.node(m_name);
    auto const& objects = m_connection.objects();
    return !sink || std::none_of(objects.begin(), objects.end(), [sink](auto const& entry) {
        return entry.second.type == PW_TYPE_INTERFACE_Link && entry.second.number(PW_KEY_LINK_INPUT_NODE) == sink->id;
    });
}

void PipeWireMuter::Sink::destroy()
{
    if (!m_proxy)
        return;
    spa_hook_remove(&m_listener);
    pw_proxy_destroy(std::exchange(m_proxy, nullptr));
}

void PipeWireMuter::Sink::disconnected()
{
    destroy();
    m_moved.clear();
    m_doubled.clear();
}

void PipeWireMuter::Sink::changed()
{
    if (m_error != 0 ? Clock::now() - m_made >= retryTime : m_lost)
        destroy();
    // A session manager that is still starting is not to be troubled.
    if (!m_connection.managed())
        return;
    create();
    if (!m_connection.node(m_name) || m_moving)
        return;
    m_moving = true;
    std::erase_if(m_moved, [this](auto const& entry) {
        auto const* const stream = m_connection.find(entry.first);
        return !stream || stream->get(PW_KEY_OBJECT_SERIAL) != entry.second.serial;
    });
    for (auto const& [id, object] : m_connection.objects()) {
        if (m_connection.foreignStream(object))
            move(object);
    }
    m_moving = false;
    keepRemembered();
    endDoubledLinks();
}

void PipeWireMuter::Sink::tick()
{
    bool const waits = std::any_of(m_moved.begin(), m_moved.end(), [](auto const& each) { return !each.second.seen; });
    if (waits || !m_doubled.empty() || m_error != 0)
        changed();
    // What it remembers of new ones comes at a moment at which it is easily lost.
    bool doubtful = false;
    for (auto& [stream, moved] : m_moved) {
        if (!moved.sure && Clock::now() - moved.asked >= echoLimit)
            doubtful = moved.sure = true;
    }
    if (doubtful)
        m_connection.readMetadata();
}

/// A session manager of this version forgets a link when the device of the one before goes away while it is being
/// made, and then links the stream once more. Links that others have made are theirs.
void PipeWireMuter::Sink::endDoubledLinks()
{
    auto const sink = m_connection.node(m_name)->id;
    auto const& objects = m_connection.objects();
    std::map<std::uint32_t, std::uint32_t> makers; ///< by stream in the sink: whose link that is
    for (auto const& [id, object] : objects) {
        if (object.type == PW_TYPE_INTERFACE_Link && object.number(PW_KEY_LINK_INPUT_NODE) == sink)
            makers[object.number(PW_KEY_LINK_OUTPUT_NODE)] = object.number(PW_KEY_CLIENT_ID);
    }
    auto const now = Clock::now();
    std::map<std::uint32_t, Instant> doubled;
    for (auto const& [id, object] : objects) {
        auto const stream = object.number(PW_KEY_LINK_OUTPUT_NODE);
        auto const maker = makers.find(stream);
        if (object.type == PW_TYPE_INTERFACE_Link && object.number(PW_KEY_LINK_INPUT_NODE) != sink
            && m_moved.contains(stream) && maker != makers.end() && maker->second == object.number(PW_KEY_CLIENT_ID))
            doubled[id] = m_doubled.contains(id) ? m_doubled[id] : now;
    }
    m_doubled = std::move(doubled);
    for (auto& [link, since] : m_doubled) {
        if (now - since < moveTime)
            continue;
        pw_registry_destroy(m_connection.registry(), link);
        since = now;
    }
}

/// Also when somebody has moved it elsewhere meanwhile; there it is to go in the end.
void PipeWireMuter::Sink::move(PipeWireConnection::Object const& stream)
{
    auto now = m_connection.metadata(stream.id, targetKey);
    auto const known = m_moved.find(stream.id);
    if (now && now->value == m_name) {
        if (known == m_moved.end()) // left over from a process of the same number
            m_moved[stream.id] = {stream.get(PW_KEY_OBJECT_SERIAL), {}, Clock::now(), true};
        else
            known->second.seen = true;
        return;
    }
    // Another instance silences it, and knows where it belongs. If that is dead, then its guard knows, for a while.
    if (now && isMuteSink(now->value))
        return;
    // It has been asked for. What somebody else has asked for right after it can have hidden the answer.
    if (known != m_moved.end() && !known->second.seen && Clock::now() - known->second.asked < echoLimit)
        return;
    bool const again = known != m_moved.end();
    auto& moved = m_moved[stream.id];
    moved.serial = stream.get(PW_KEY_OBJECT_SERIAL);
    moved.asked = Clock::now();
    moved.seen = moved.sure = false;
    if (!again)
        moved.before.follows = PipeWireMuter::follows(m_connection, stream.id);
    Value const sink{"Spa:String", m_name};
    holdFor(stream.id, sink);
    m_connection.setMetadata(stream.id, targetKey, sink);
    noteBefore(stream.id, moved, now);
}

/// Of several values that come at once, the mirror shows the last alone. A target that another one has set at about the
/// time of the move, such as a session manager that remembers a new program's device, is where the stream belongs.
void PipeWireMuter::Sink::told(std::uint32_t subject, std::string const& key, std::optional<Value> const& value)
{
    auto const found = m_moved.find(subject);
    if (found == m_moved.end() || key != targetKey || found->second.seen)
        return;
    if (value && value->value == m_name)
        found->second.seen = true;
    else if (!(value && isMuteSink(value->value)) && value != found->second.before.target)
        noteBefore(subject, found->second, value);
}

void PipeWireMuter::Sink::noteBefore(std::uint32_t stream, Moved& moved, std::optional<Value> const& target)
{
    moved.before.target = target;
    m_guard.note({{"stream", stream}, {"target", target ? Json(target->value) : Json()},
        {"type", target ? target->type : ""}, {"follows", moved.before.follows}});
    lend(stream, moved);
}

/// For the session manager the sink is what the user has chosen, and the program's own device is forgotten with it.
/// Named in the place that counts less, that is remembered, and the stream stays in the sink.
void PipeWireMuter::Sink::lend(std::uint32_t stream, Moved& moved)
{
    auto const* const device = chosenOutput(m_connection, moved.before.target);
    if (device) {
        moved.remembered = std::to_string(device->id);
        remember(m_connection, stream, {"Spa:Id", moved.remembered});
    } else if (moved.lent) {
        m_connection.setMetadata(stream, rememberedKey, {});
    }
    moved.lent = device != nullptr;
}

/// The device that the session manager remembers of a new program can come after the program.
void PipeWireMuter::Sink::keepRemembered()
{
    bool news = false;
    for (auto& [stream, moved] : m_moved) {
        auto const remembered = m_connection.metadata(stream, rememberedKey);
        news = news || (remembered && remembered->value != moved.remembered);
        moved.remembered = remembered ? remembered->value : "";
    }
    if (news)
        PipeWireMuter::keepRemembered(m_connection);
}

/// To be called before the stream is given that target.
void PipeWireMuter::Sink::holdFor(std::uint32_t stream, std::optional<Value> const& target)
{
    auto const* const device = deviceOf(stream, target);
    auto const channels = m_connection.ports(stream, "out").size();
    if (channels > 0 && device && m_connection.ports(device->id, "in").size() != channels)
        m_connection.hold(stream);
}

/// Where a stream goes with that target, by the session manager's rules.
PipeWireConnection::Object const* PipeWireMuter::Sink::deviceOf(
    std::uint32_t stream, std::optional<Value> const& target) const
{
    auto const remembered = m_connection.metadata(stream, rememberedKey);
    if (!target && remembered && remembered->value != followsDefault)
        return m_connection.find(static_cast<std::uint32_t>(std::atoi(remembered->value.c_str())));
    auto const* const object = m_connection.find(stream);
    auto const name = target ? target->value : object && !remembered ? object->get(targetKey) : "";
    for (auto const& [id, node] : m_connection.objects()) {
        bool const named = node.get(PW_KEY_NODE_NAME) == name || node.get(PW_KEY_OBJECT_SERIAL) == name;
        if (!name.empty() && node.type == PW_TYPE_INTERFACE_Node && named)
            return &node;
    }
    return m_connection.node(m_connection.nameIn("default.audio.sink"));
}

PipeWireMuter::PipeWireMuter(PipeWireConnection& connection, SoundGuard& guard)
    : m_connection(connection)
    , m_guard(guard)
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.add(*this);
}

PipeWireMuter::~PipeWireMuter()
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.remove(*this);
}

bool PipeWireMuter::isMuteSink(std::string_view nodeName) { return nodeName.starts_with(sinkPrefix); }

std::string PipeWireMuter::ownSink() { return fmt::format("{}{}", sinkPrefix, ::getpid()); }

std::variant<std::unique_ptr<SoundMuter::Silence>, SoundMuter::Failure> PipeWireMuter::silence()
{
    auto sink = std::make_unique<Sink>(*this);
    PipeWireConnection::Lock const lock(m_connection);
    if (!m_connection.connected())
        return Failure{Step::tap, -EHOSTDOWN};
    if (auto const error = sink->make(); error != 0)
        return Failure{Step::tap, error};
    if (!m_connection.managed())
        return Failure{Step::device, -ENODEV};
    sink->begin();
    return std::unique_ptr<Silence>(std::move(sink));
}

bool PipeWireMuter::follows(PipeWireConnection const& connection, std::uint32_t stream)
{
    auto const remembered = connection.metadata(stream, rememberedKey);
    return remembered && remembered->value == followsDefault;
}

void PipeWireMuter::giveBack(PipeWireConnection& connection, Targets const& targets)
{
    std::set<std::uint32_t> ended;
    for (auto const& [stream, before] : targets) {
        auto const* const device = chosenOutput(connection, before.target);
        auto const remembered = connection.metadata(stream, rememberedKey);
        // What has been lent ends. So does the default, on which session managers pin a program with a device of its
        // own that has been there for want of the mute sink.
        bool const ends = remembered
            && (device ? remembered->value == std::to_string(device->id)
                       : follows(connection, stream) && !before.follows);
        if (ends) {
            connection.setMetadata(stream, rememberedKey, {});
            ended.insert(stream);
        }
        connection.setMetadata(stream, targetKey, before.target);
    }
    if (!targets.empty())
        keepRemembered(connection, ended);
}

void PipeWireMuter::keepRemembered(PipeWireConnection& connection, std::set<std::uint32_t> const& except)
{
    std::map<std::uint32_t, Value> remembered;
    for (auto const& [key, value] : connection.metadata()) {
        auto const* const stream = connection.find(key.first);
        if (key.second != rememberedKey || value.value == followsDefault || !stream
            || !connection.foreignStream(*stream) || except.contains(key.first))
            continue;
        // A number, which can be another object's by now.
        auto const* const device = connection.find(static_cast<std::uint32_t>(std::atoi(value.value.c_str())));
        if (device && isOutput(*device) && !isMuteSink(device->get(PW_KEY_NODE_NAME)))
            remembered[key.first] = value;
    }
    for (auto const& [stream, value] : remembered)
        remember(connection, stream, value);
}

void PipeWireMuter::connected() { changed(); }

void PipeWireMuter::tick()
{
    if (!m_left.empty())
        changed();
}

/// Gives back streams that an instance had silenced which is gone, if its guard does not.
void PipeWireMuter::changed()
{
    auto const now = Clock::now();
    std::map<std::uint32_t, Left> left;
    for (auto const& [key, value] : m_connection.metadata()) {
        bool const ours = m_sinks > 0 && value.value == ownSink();
        if (key.second == targetKey && isMuteSink(value.value) && !ours && !m_connection.node(value.value))
            left[key.first] = m_left.contains(key.first) ? m_left[key.first] : Left{now};
    }
    m_left = std::move(left);
    bool doubtful = false;
    Targets none;
    for (auto& [stream, each] : m_left) {
        if (now - each.since < guardTime)
            continue;
        each.since = now;
        if (!std::exchange(each.read, true)) {
            doubtful = true;
            continue;
        }
        none[stream] = {};
    }
    giveBack(m_connection, none);
    if (doubtful)
        m_connection.readMetadata();
}

} // namespace lingrelay
