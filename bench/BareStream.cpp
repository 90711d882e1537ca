#include "bench/BareStream.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <utility>

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

namespace lingrelay::bench {

struct BareStream::Parts {
    Parts(Plan const& plan, Process toCall) : process(std::move(toCall)), kind(plan.kind)
    {
        pw_init(nullptr, nullptr);
        pw_log_set_level(SPA_LOG_LEVEL_NONE); // it complains of what a machine without a system bus lacks
        loop = pw_thread_loop_new(plan.name.c_str(), nullptr);
        bool const plays = kind == Kind::plays;
        auto* const properties
            = pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, plays ? "Playback" : "Capture",
                PW_KEY_NODE_NAME, plan.name.c_str(), PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr);
        if (!plan.target.empty())
            pw_properties_set(properties, PW_KEY_TARGET_OBJECT, plan.target.c_str());
        if (!plan.latency.empty())
            pw_properties_set(properties, PW_KEY_NODE_LATENCY, plan.latency.c_str());
        if (kind == Kind::recordsOutput)
            pw_properties_set(properties, PW_KEY_STREAM_CAPTURE_SINK, "true");
        if (plan.links == Links::byHand) {
            pw_properties_set(properties, PW_KEY_NODE_AUTOCONNECT, "false");
            pw_properties_set(properties, PW_KEY_NODE_ALWAYS_PROCESS, "true");
        }
        static pw_stream_events const events = [] {
            pw_stream_events result{};
            result.version = PW_VERSION_STREAM_EVENTS;
            result.process = [](void* self) { static_cast<Parts*>(self)->turn(); };
            result.io_changed = [](void* self, std::uint32_t id, void* area, std::uint32_t) {
                if (id == SPA_IO_Position)
                    static_cast<Parts*>(self)->position = static_cast<spa_io_position*>(area);
            };
            return result;
        }();
        stream = pw_stream_new_simple(pw_thread_loop_get_loop(loop), plan.name.c_str(), properties, &events, this);
        spa_audio_info_raw format{};
        format.format = SPA_AUDIO_FORMAT_F32;
        format.rate = plan.rate;
        format.channels = plan.channels;
        format.position[0] = plan.channels == 1 ? SPA_AUDIO_CHANNEL_MONO : SPA_AUDIO_CHANNEL_FL;
        format.position[1] = SPA_AUDIO_CHANNEL_FR;
        std::uint8_t buffer[1024];
        spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
        spa_pod const* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
        auto const flags = PW_STREAM_FLAG_MAP_BUFFERS
            | (plan.thread == Thread::realTime ? PW_STREAM_FLAG_RT_PROCESS : PW_STREAM_FLAG_NONE)
            | (plan.links == Links::automatic ? PW_STREAM_FLAG_AUTOCONNECT : PW_STREAM_FLAG_NONE);
        channels = plan.channels;
        pw_stream_connect(stream, plays ? PW_DIRECTION_OUTPUT : PW_DIRECTION_INPUT, PW_ID_ANY,
            static_cast<pw_stream_flags>(flags), parameters, 1);
        pw_thread_loop_start(loop);
    }
    ~Parts()
    {
        pw_thread_loop_lock(loop);
        pw_stream_destroy(stream);
        pw_thread_loop_unlock(loop);
        pw_thread_loop_stop(loop);
        pw_thread_loop_destroy(loop);
    }
    Parts(Parts const&) = delete;
    Parts& operator=(Parts const&) = delete;

    void turn()
    {
        if (position)
            quantum = static_cast<unsigned>(position.load()->clock.duration);
        auto* const buffer = pw_stream_dequeue_buffer(stream);
        if (!buffer)
            return;
        auto& data = buffer->buffer->datas[0];
        if (data.data && kind == Kind::plays)
            fill(*buffer, data);
        else if (data.data)
            process({reinterpret_cast<float*>(static_cast<char*>(data.data) + data.chunk->offset),
                data.chunk->size / sizeof(float)});
        pw_stream_queue_buffer(stream, buffer);
    }
    void fill(pw_buffer const& buffer, spa_data& data) const
    {
        auto const frameSize = static_cast<std::uint32_t>(sizeof(float)) * channels;
        auto frames = data.maxsize / frameSize;
        if (buffer.requested > 0)
            frames = std::min(frames, static_cast<std::uint32_t>(buffer.requested));
        process({static_cast<float*>(data.data), std::size_t(frames) * channels});
        data.chunk->offset = 0;
        data.chunk->stride = static_cast<std::int32_t>(frameSize);
        data.chunk->size = frames * frameSize;
    }

    Process process;
    Kind kind;
    unsigned channels = 1;
    std::atomic<unsigned> quantum = 0;
    std::atomic<spa_io_position*> position = nullptr;
    pw_thread_loop* loop;
    pw_stream* stream;
};

BareStream::BareStream(Plan const& plan, Process process) : m_parts(std::make_unique<Parts>(plan, std::move(process)))
{
}
BareStream::~BareStream() = default;

unsigned BareStream::quantum() const { return m_parts->quantum; }

} // namespace lingrelay::bench
