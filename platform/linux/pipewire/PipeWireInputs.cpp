#include "platform/linux/pipewire/PipeWireInputs.h"

#include "platform/linux/pipewire/CaptureQueue.h"
#include "platform/linux/pipewire/PipeWireStream.h"

#include <fmt/format.h>

namespace lingrelay {

class PipeWireInputs::Input final : public AudioInput, private PipeWireStream {
public:
    Input(PipeWireConnection& connection, Plan plan, std::size_t blockFrames, AudioReceiver& receiver)
        : PipeWireStream(connection, plan)
        , m_queue(receiver, blockFrames * static_cast<std::size_t>(plan.channels))
    {
        open();
    }
    ~Input() override { close(); }

private:
    void process() override
    {
        while (auto* const buffer = pw_stream_dequeue_buffer(stream())) {
            auto const& data = buffer->buffer->datas[0];
            if (data.data)
                m_queue.push({reinterpret_cast<float const*>(static_cast<char const*>(data.data) + data.chunk->offset),
                    data.chunk->size / sizeof(float)});
            pw_stream_queue_buffer(stream(), buffer);
        }
    }
    void report(std::optional<Error> const& problem) override { m_queue.tell(problem); }

    CaptureQueue m_queue;
};

PipeWireInputs::PipeWireInputs(PipeWireConnection& connection, PipeWireDevices& devices)
    : m_connection(connection)
    , m_devices(devices)
    , m_watch(connection, "default.audio.source")
{
}

std::optional<AudioFormat> PipeWireInputs::format(std::optional<std::uint32_t> device)
{
    PipeWireConnection::Lock const lock(m_connection);
    auto const node = m_devices.input(device);
    if (!node)
        return {};
    return AudioFormat{m_connection.graphRate(), node->channels};
}

Result<std::unique_ptr<AudioInput>> PipeWireInputs::open(
    std::optional<std::uint32_t> device, AudioFormat format, std::size_t blockFrames, AudioReceiver& receiver)
{
    PipeWireConnection::Lock const lock(m_connection);
    if (!m_connection.connected())
        return noServerError();
    auto const node = m_devices.input(device);
    if (!node || format.sampleRate <= 0 || format.channels <= 0)
        return noDeviceError();
    PipeWireStream::Plan plan;
    plan.name = "lingrelay.input";
    plan.description = "Lingrelay: microphone";
    plan.rate = format.sampleRate;
    plan.channels = format.channels;
    plan.latency = fmt::format("{}/{:.0f}", blockFrames, format.sampleRate);
    plan.device = m_devices.linkedTo(PipeWireDevices::Side::input, device);
    return std::unique_ptr<AudioInput>(std::make_unique<Input>(m_connection, std::move(plan), blockFrames, receiver));
}

} // namespace lingrelay
