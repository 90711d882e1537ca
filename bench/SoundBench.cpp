// lingrelay-soundbench [SOUNDS [WORDS]]: what the program adds to the way of live sound, each row against bare streams
// that do the same between the same devices, in the same run. WORDS choose rows. To be started by bench/with-sound.

#include "audio/AudioCapture.h"
#include "audio/MicCapture.h"
#include "bench/BareStream.h"
#include "bench/Impulses.h"
#include "bench/LiveEngine.h"
#include "bench/Loopback.h"
#include "bench/Rows.h"
#include "platform/linux/pipewire/PipeWireSound.h"
#include "speech/TTSPlayer.h"

#include <boost/lockfree/spsc_queue.hpp>
#include <fmt/core.h>

#include <cstdlib>
#include <cstring>
#include <thread>

namespace lingrelay::bench {

namespace {

using Kind = BareStream::Kind;

constexpr int restarts = 4; ///< of all streams, whose places in the server's step are drawn anew
constexpr double tolerance = 0.5; ///< milliseconds by which threads of a busy machine wake up late
constexpr double synthesisRate = 24000;

/// What a row has measured.
struct Result {
    Delays floor;
    Delays measured;
    unsigned quantum = 0;
};

/// The sound of the machine as the programs have it, and what their parts stand on.
struct Program {
    explicit Program(std::string const& recogniser = "") : engine(recogniser, recogniser) { }

    LiveEngine engine;
    AsioRuntime runtime;
    std::unique_ptr<Scheduler> scheduler = runtime.makeScheduler();
    PipeWireSound sound;
};

std::span<std::int16_t const> samplesOf(std::string const& pcm)
{
    return {reinterpret_cast<std::int16_t const*>(pcm.data()), pcm.size() / 2};
}

bool linkByHand(std::string const& from, std::string const& to)
{
    for (int i = 0; i < 100; ++i) {
        if (std::system(("pw-link -P " + from + ' ' + to + " 2>/dev/null").c_str()) == 0)
            return true;
        std::this_thread::sleep_for(seconds(0.05));
    }
    return false;
}

/// Both hear the same sound of another program.
bool foreignSoundToCapture(Result& result, int count)
{
    ForeignProgram foreign("");
    Ear bareEar;
    Ear ear;
    BareStream const bare({.name = "bench.ear",
                              .kind = Kind::records,
                              .links = BareStream::Links::byHand,
                              .rate = AudioSource::sampleRate,
                              .channels = 2},
        [&](std::span<float> samples) { bareEar.hear(samples); });
    for (std::string const channel : {"FL", "FR"}) {
        if (!linkByHand(std::string(ForeignProgram::nodeName) + ":output_" + channel, "bench.ear:input_" + channel))
            return false;
    }
    Program program;
    AudioCapture capture(program.sound.systemAudio(), *program.scheduler);
    capture.onPCM = [&](std::string const& pcm, auto const&) { ear.hear(samplesOf(pcm)); };
    capture.start();
    bool const good = measure({foreign, bareEar, result.floor}, {foreign, ear, result.measured}, bare, count);
    result.quantum = bare.quantum();
    return good;
}

/// The peer of a socket, which listens to what it is sent.
template <class Sample> class ListeningPeer {
public:
    explicit ListeningPeer(double rate)
        : m_thread([this, rate] {
            auto const peer = m_server.accept();
            for (auto message = readMessage(*peer); !message.empty(); message = readMessage(*peer)) {
                if (peer->got_text())
                    continue; // the configuration
                std::vector<Sample> samples(message.size() / sizeof(Sample));
                std::memcpy(samples.data(), message.data(), samples.size() * sizeof(Sample));
                m_ear.hear(std::span(samples), rate);
            }
        })
    {
    }
    ~ListeningPeer() { m_thread.join(); } // the client has gone

    Loopback& server() { return m_server; }
    Ear& ear() { return m_ear; }

private:
    Loopback m_server;
    Ear m_ear;
    std::thread m_thread;
};

/// Its blocks go to a socket as they come.
class BareMicrophone {
public:
    static constexpr unsigned rate = 48000;

    explicit BareMicrophone(Loopback const& server)
        : m_socket(server.connect(m_context))
        , m_stream({.name = "bench.bare-mic",
                       .kind = Kind::records,
                       .thread = BareStream::Thread::own,
                       .rate = rate,
                       .latency = fmt::format("{}/{}", frames, rate)},
              [this](std::span<float> samples) { take(samples); })
    {
        m_socket->binary(true);
    }

    BareStream const& stream() const { return m_stream; }

private:
    static constexpr std::size_t frames = 2048;

    void take(std::span<float const> samples)
    {
        m_block.insert(m_block.end(), samples.begin(), samples.end());
        while (m_block.size() >= frames) {
            m_socket->write(boost::asio::buffer(m_block.data(), frames * sizeof(float)));
            m_block.erase(m_block.begin(), m_block.begin() + frames);
        }
    }

    boost::asio::io_context m_context;
    std::unique_ptr<Peer> m_socket;
    std::vector<float> m_block;
    BareStream m_stream;
};

/// Both hear the same sound. What of a block comes after it is not counted: where blocks begin is chance.
bool microphoneToSocket(Result& result, int count)
{
    ForeignProgram foreign("bench.micfeed");
    ListeningPeer<float> barePeer(BareMicrophone::rate);
    ListeningPeer<std::int16_t> peer(AudioSource::sampleRate);
    BareMicrophone const bare(barePeer.server());
    Program program(peer.server().url());
    program.engine->start(LiveEngine::settings());
    MicCapture microphone(program.sound.inputs(), *program.scheduler);
    microphone.onPCM = [&](std::string pcm, std::function<void()> sent) {
        program.engine->sendAudio(std::move(pcm), std::move(sent));
    };
    microphone.start();
    bool const good = measure(
        {foreign, barePeer.ear(), result.floor}, {foreign, peer.ear(), result.measured}, bare.stream(), count);
    result.quantum = bare.stream().quantum();
    microphone.stop();
    return good;
}

/// A stream that plays what is put into a ring.
class BareVoice final : public Sounder {
public:
    explicit BareVoice(std::string const& target)
        : m_stream({.name = "bench.bare-voice", .target = target}, [this](std::span<float> samples) {
            auto const count = m_ring.pop(samples.data(), samples.size());
            std::fill(samples.begin() + static_cast<std::ptrdiff_t>(count), samples.end(), 0.0F);
        })
    {
    }

    void sound(Moment& made) override
    {
        static std::vector<float> const impulse(480, 0.9F);
        made.note();
        m_ring.push(impulse.data(), impulse.size());
    }

private:
    boost::lockfree::spsc_queue<float> m_ring{1 << 14};
    BareStream m_stream;
};

/// The program's voice, given synthesis as it comes from a socket.
class Voice final : public Sounder {
public:
    Voice(Program& program, std::optional<std::uint32_t> device)
        : m_player(TTSPlayer::create(program.sound.outputs(), *program.scheduler, *program.scheduler))
    {
        m_player->setDevice(device);
        m_player->rebuild();
    }

    void sound(Moment& made) override
    {
        // Twice as long as the bare one: the player fades in.
        static std::string const impulse(static_cast<std::size_t>(synthesisRate * 0.02) * 2, '\x6f');
        made.note();
        m_player->enqueuePCM(impulse, synthesisRate, true);
    }

private:
    std::shared_ptr<TTSPlayer> m_player;
};

bool voiceToSpeakers(Result& result, int count)
{
    Program program;
    Ear ear;
    BareStream const monitor(
        {.name = "bench.ear", .kind = Kind::recordsOutput}, [&](std::span<float> samples) { ear.hear(samples); });
    BareVoice bare("");
    Voice voice(program, {});
    bool const good = measure({bare, ear, result.floor}, {voice, ear, result.measured}, monitor, count);
    result.quantum = monitor.quantum();
    return good;
}

/// From the program's voice to a recorder; the floor is a bare voice and the server's own pair.
bool voiceToRecorder(Result& result, int count)
{
    Program program;
    if (!program.sound.virtualMicrophone().install())
        return false;
    std::optional<std::uint32_t> device;
    for (auto const& output : program.sound.devices().outputs()) {
        if (output.name == "Lingrelay")
            device = output.id;
    }
    if (!device)
        return false;
    Ear bareEar;
    Ear ear;
    BareStream const bareRecorder({.name = "bench.ear-pair", .kind = Kind::records, .target = "bench.pair.source"},
        [&](std::span<float> samples) { bareEar.hear(samples); });
    BareStream const recorder({.name = "bench.ear", .kind = Kind::records, .target = "Lingrelay.source"},
        [&](std::span<float> samples) { ear.hear(samples); });
    BareVoice bare("bench.pair");
    Voice voice(program, device);
    bool const good = measure({bare, bareEar, result.floor}, {voice, ear, result.measured}, recorder, count);
    result.quantum = recorder.quantum();
    return good;
}

/// The same between two other programs: what the microphone costs alone.
bool microphoneAlone(Result& result, int count)
{
    Program program;
    if (!program.sound.virtualMicrophone().install())
        return false;
    Ear bareEar;
    Ear ear;
    BareStream const bareRecorder({.name = "bench.ear-pair", .kind = Kind::records, .target = "bench.pair.source"},
        [&](std::span<float> samples) { bareEar.hear(samples); });
    BareStream const recorder({.name = "bench.ear", .kind = Kind::records, .target = "Lingrelay.source"},
        [&](std::span<float> samples) { ear.hear(samples); });
    ForeignProgram pair("bench.pair");
    ForeignProgram voice("Lingrelay");
    bool const good = measure({pair, bareEar, result.floor}, {voice, ear, result.measured}, recorder, count);
    result.quantum = recorder.quantum();
    return good;
}

double load()
{
    double average = 0;
    ::getloadavg(&average, 1);
    return average;
}

/// Where the floor loses sounds too, the server has skipped a step.
std::string lost(Result const& result)
{
    if (result.measured.lost() + result.floor.lost() == 0)
        return "";
    return fmt::format(" lost {}, floor {}", result.measured.lost(), result.floor.lost());
}

struct Row {
    char const* what;
    bool (*run)(Result&, int);
};

constexpr Row rows[] = {
    {"another program to onPCM", foreignSoundToCapture},
    {"microphone block to the socket", microphoneToSocket},
    {"synthesis bytes to the speakers", voiceToSpeakers},
    {"synthesis bytes to a recorder of Lingrelay", voiceToRecorder},
    {"another program to a recorder of Lingrelay", microphoneAlone},
};

/// False when it could not be measured, or is over its limit: one step of the server more than the floor.
bool report(Row const& row, int sounds)
{
    Result result;
    for (int i = 0; i < restarts; ++i) {
        if (!row.run(result, sounds / restarts)) {
            fmt::print("{:<44} no sound came through\n", row.what);
            return false;
        }
    }
    auto const step = result.quantum / 48.0;
    auto const more = result.measured.quantile(0.5) - result.floor.quantile(0.5);
    bool const good = more <= step + tolerance;
    fmt::print("{:<44} {:6.1f} {:6.1f} {:8.1f} {:6.1f} {:7.1f} {:6.1f} {:5} {:4.1f} {}{}\n", row.what,
        result.measured.quantile(0.5), result.measured.quantile(0.95), result.floor.quantile(0.5),
        result.floor.quantile(0.95), more, step, result.measured.count(), load(), good ? "" : "OVER", lost(result));
    std::fflush(stdout);
    addRow(fmt::format("{}, steps of {}", row.what, result.quantum), "ms", result.measured.quantile(0.5),
        "bare PipeWire", result.floor.quantile(0.5), Judge::difference, step + tolerance);
    return good;
}

} // namespace

} // namespace lingrelay::bench

int main(int argc, char** argv)
{
    using namespace lingrelay::bench;
    if (auto const result = ForeignProgram::run({argv, static_cast<std::size_t>(argc)}))
        return *result;
    int const sounds = argc > 1 ? std::atoi(argv[1]) : 100;
    fmt::print("{:<44} {:>13} {:>15}\n{:<44} {:>6} {:>6} {:>8} {:>6} {:>7} {:>6} {:>5} {:>4}\n", "milliseconds",
        "measured", "floor", "", "median", "95 %", "median", "95 %", "more", "limit", "of", "load");
    bool good = true;
    for (auto const& row : rows) {
        if (argc < 3 || std::string_view(row.what).find(argv[2]) != std::string_view::npos)
            good &= report(row, sounds);
    }
    return good ? 0 : 1;
}
