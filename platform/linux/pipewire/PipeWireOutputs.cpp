#include "platform/linux/pipewire/PipeWireOutputs.h"

#include "platform/linux/pipewire/PipeWireStream.h"

#include <algorithm>

namespace lingrelay {

class PipeWireOutputs::Output final : public AudioOutput, private PipeWireStream {
public:
    Output(PipeWireConnection& connection, Plan plan, AudioRenderer& renderer)
        : PipeWireStream(connection, std::move(plan))
        , m_renderer(renderer)
    {
        open();
    }
    ~Output() override { close(); }

    double sampleRate() const override { return plan().rate; }

private:
    void process() override
    {
        auto* const buffer = pw_stream_dequeue_buffer(stream());
        if (!buffer)
            return;
        auto& data = buffer->buffer->datas[0];
        if (!data.data) {
            pw_stream_queue_buffer(stream(), buffer);
            return;
        }
        auto frames = data.maxsize / static_cast<std::uint32_t>(sizeof(float));
        if (buffer->requested > 0)
            frames = std::min(frames, static_cast<std::uint32_t>(buffer->requested));
        auto* const samples = static_cast<float*>(data.data);
        m_renderer.render(samples, frames);
        data.chunk->offset = 0;
        data.chunk->stride = sizeof(float);
        data.chunk->size = frames * static_cast<std::uint32_t>(sizeof(float));
        pw_stream_queue_buffer(stream(), buffer);
    }
    void report(std::optional<Error> const&) override { }

    AudioRenderer& m_renderer;
};

PipeWireOutputs::PipeWireOutputs(PipeWireConnection& connection, PipeWireDevices& devices)
    : m_connection(connection)
    , m_devices(devices)
    , m_watch(connection, "default.audio.sink")
{
}

std::unique_ptr<AudioOutput> PipeWireOutputs::open(std::optional<std::uint32_t> device, AudioRenderer& renderer)
{
    PipeWireConnection::Lock const lock(m_connection);
    if (!m_connection.connected())
        return nullptr;
    PipeWireStream::Plan plan;
    plan.direction = PW_DIRECTION_OUTPUT;
    plan.name = "lingrelay.voice";
    plan.description = "Lingrelay: translation";
    plan.rate = m_connection.graphRate();
    plan.device = m_devices.linkedTo(PipeWireDevices::Side::output, device);
    if (!m_connection.node(plan.device()))
        return nullptr;
    return std::make_unique<Output>(m_connection, std::move(plan), renderer);
}

} // namespace lingrelay
