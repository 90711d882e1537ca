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
    ~Capture() override { close(); }

private:
    void process() override;
    void report(std::optional<Error> const& problem) override { m_queue.tell(problem); }
    std::vector<PortLinks::Ends> wantedLinks() const override;

    CaptureQueue m_queue;
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

/// Every port of every program.
std::vector<PortLinks::Ends> PipeWireSystemAudio::Capture::wantedLinks() const
{
    auto const sides = ownPorts();
    if (sides.size() != 2)
        return {};
    std::vector<PortLinks::Ends> wanted;
    for (auto const& [id, node] : connection().objects()) {
        if (!connection().foreignStream(node) || connection().held(id))
            continue;
        for (auto const* port : connection().ports(id, "out")) {
            auto const& channel = port->get(PW_KEY_AUDIO_CHANNEL);
            if (!channel.ends_with('R'))
                wanted.emplace_back(port->id, sides[0]->id);
            if (!channel.ends_with('L'))
                wanted.emplace_back(port->id, sides[1]->id); // what is on neither side is on both
        }
    }
    return wanted;
}

std::unique_ptr<AudioInput> PipeWireSystemAudio::open(AudioReceiver& receiver)
{
    PipeWireStream::Plan plan;
    plan.name = "lingrelay.capture";
    plan.description = "Lingrelay: what the computer plays";
    plan.rate = sampleRate;
    plan.channels = 2;
    return std::make_unique<Capture>(m_connection, plan, receiver);
}

} // namespace lingrelay
