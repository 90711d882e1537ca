#include "platform/linux/pipewire/PipeWireSystemAudio.h"

#include "platform/linux/pipewire/CaptureQueue.h"
#include "platform/linux/pipewire/PipeWireStream.h"

#include <algorithm>
#include <array>

namespace lingrelay {

class PipeWireSystemAudio::Capture final : public AudioInput, private PipeWireStream {
public:
    Capture(PipeWireConnection& connection, Plan const& plan, AudioReceiver& receiver)
        : PipeWireStream(connection, plan)
        , m_queue(receiver, 0)
    {
        open();
    }
    ~Capture() override
    {
        PipeWireConnection::Lock const lock(connection());
        unlink();
        close();
    }

private:
    using Object = PipeWireConnection::Object;
    /// Port of a program, port of ours.
    using Ends = std::pair<std::uint32_t, std::uint32_t>;

    void process() override;
    void report(std::optional<Error> const& problem) override { m_queue.tell(problem); }
    void disconnected() override
    {
        unlink();
        PipeWireStream::disconnected();
    }
    void changed() override;
    void link(std::uint32_t from, std::uint32_t to);
    void unlink();

    CaptureQueue m_queue;
    std::map<Ends, pw_proxy*> m_links;
};

/// The server would make mono of it 3 dB louder.
void PipeWireSystemAudio::Capture::process()
{
    std::array<float, 512> mono;
    while (auto* const buffer = pw_stream_dequeue_buffer(stream())) {
        auto const& data = buffer->buffer->datas[0];
        auto const frames = data.data ? data.chunk->size / (2 * sizeof(float)) : 0;
        auto const* stereo
            = reinterpret_cast<float const*>(static_cast<char const*>(data.data) + (frames ? data.chunk->offset : 0));
        for (std::size_t at = 0; at < frames;) {
            auto const count = std::min(mono.size(), frames - at);
            for (std::size_t i = 0; i < count; ++i, ++at)
                mono[i] = 0.5F * (stereo[2 * at] + stereo[2 * at + 1]);
            m_queue.push({mono.data(), count});
        }
        pw_stream_queue_buffer(stream(), buffer);
    }
}

/// Every port of every program has its links, and no other link is left.
void PipeWireSystemAudio::Capture::changed()
{
    auto const ourNode = nodeId();
    if (ourNode == PW_ID_ANY)
        return;
    std::uint32_t left = PW_ID_ANY;
    std::uint32_t right = PW_ID_ANY;
    for (auto const& [id, port] : connection().objects()) {
        if (port.type != PW_TYPE_INTERFACE_Port || port.number(PW_KEY_NODE_ID) != ourNode
            || port.get(PW_KEY_PORT_DIRECTION) != "in")
            continue;
        (port.get(PW_KEY_AUDIO_CHANNEL) == "FL" ? left : right) = id;
    }
    if (left == PW_ID_ANY || right == PW_ID_ANY)
        return;
    std::vector<Ends> wanted;
    for (auto const& [id, port] : connection().objects()) {
        if (port.type != PW_TYPE_INTERFACE_Port || port.get(PW_KEY_PORT_DIRECTION) != "out"
            || port.get(PW_KEY_PORT_MONITOR) == "true")
            continue;
        auto const* const node = connection().find(port.number(PW_KEY_NODE_ID));
        if (!node || !connection().foreignStream(*node))
            continue;
        auto const& channel = port.get(PW_KEY_AUDIO_CHANNEL);
        if (!channel.ends_with('R'))
            wanted.emplace_back(id, left);
        if (!channel.ends_with('L'))
            wanted.emplace_back(id, right); // what is on neither side is on both
    }
    std::erase_if(m_links, [&](auto const& entry) {
        bool const gone = std::find(wanted.begin(), wanted.end(), entry.first) == wanted.end();
        if (gone)
            pw_proxy_destroy(entry.second);
        return gone;
    });
    for (auto const& [from, to] : wanted) {
        if (!m_links.contains({from, to}))
            link(from, to);
    }
}

void PipeWireSystemAudio::Capture::link(std::uint32_t from, std::uint32_t to)
{
    auto* const properties = pw_properties_new(PW_KEY_LINK_PASSIVE, "true", nullptr);
    pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_PORT, "%u", from);
    pw_properties_setf(properties, PW_KEY_LINK_INPUT_PORT, "%u", to);
    auto* const proxy = static_cast<pw_proxy*>(pw_core_create_object(
        connection().core(), "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties->dict, 0));
    pw_properties_free(properties);
    if (proxy)
        m_links[{from, to}] = proxy;
}

void PipeWireSystemAudio::Capture::unlink()
{
    for (auto const& [ends, proxy] : m_links)
        pw_proxy_destroy(proxy);
    m_links.clear();
}

std::unique_ptr<AudioInput> PipeWireSystemAudio::open(AudioReceiver& receiver)
{
    PipeWireStream::Plan plan;
    plan.name = "lingrelay.capture";
    plan.description = "Lingrelay: what the computer plays";
    plan.rate = sampleRate;
    plan.channels = 2;
    plan.links = PipeWireStream::Plan::Links::none;
    return std::make_unique<Capture>(m_connection, plan, receiver);
}

} // namespace lingrelay
