// lingrelay-bareclient STT-PORT TTS-PORT FILE [STREAMS | both]: sends a sound file to a recogniser at the speed of the
// sound, has each sentence spoken, and throws all answers away. The least a program needs for that, to compare with.
// Sends the file to as many recognisers at once as STREAMS; with "both" to one, and the sound of a microphone to
// another, while a sound card asks for what the two would play. At SIGTERM it prints when each message was there.

#include "bench/Loopback.h"
#include "bench/SoundCard.h"

#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <sndfile.hh>

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

using namespace lingrelay::bench;
namespace asio = boost::asio;
namespace beast = boost::beast;

namespace {

struct Address {
    asio::io_context& context;
    unsigned short port;
};

struct Stamp {
    int number;
    long long nanoseconds;
};

std::string_view textIn(beast::flat_buffer const& buffer)
{
    return {static_cast<char const*>(buffer.data().data()), buffer.size()};
}

void open(Peer& peer, Address const& address)
{
    peer.next_layer().connect({asio::ip::address_v4::loopback(), address.port});
    peer.next_layer().set_option(asio::ip::tcp::no_delay(true));
    peer.handshake("127.0.0.1", "/bench");
    writeText(peer, "{}");
}

/// The voice for one sentence, opened before its text is there. Owned by what it waits for.
class Voice : public std::enable_shared_from_this<Voice> {
public:
    explicit Voice(Address const& address) : m_peer(address.context) { open(m_peer, address); }

    void say(std::string const& number)
    {
        writeText(m_peer, R"({"text":"A sentence as long as most of those that others have spoken )" + number + "\"}");
        listen();
    }

private:
    void listen()
    {
        m_peer.async_read(m_buffer, [self = shared_from_this()](beast::error_code error, std::size_t) {
            if (error)
                return;
            bool const ended = textIn(self->m_buffer).find("audio_end") != std::string_view::npos;
            self->m_buffer.clear();
            if (!ended)
                return self->listen();
            self->m_peer.async_close(beast::websocket::close_code::normal, [self](beast::error_code) {});
        });
    }

    Peer m_peer;
    beast::flat_buffer m_buffer;
};

class Stream {
public:
    Stream(Address const& recogniser, Address const& voice, std::vector<Stamp>& stamps)
        : m_voiceAddress(voice)
        , m_stamps(stamps)
        , m_peer(recogniser.context)
        , m_voice(std::make_shared<Voice>(voice))
    {
        open(m_peer, recogniser);
        m_peer.binary(true);
        listen();
    }

    void send(short const* samples, std::size_t count) { m_peer.write(asio::buffer(samples, count * sizeof(short))); }

private:
    void listen()
    {
        m_peer.async_read(m_buffer, [this](beast::error_code error, std::size_t) {
            if (error)
                return;
            heard(textIn(m_buffer));
            m_buffer.clear();
            listen();
        });
    }

    void heard(std::string_view message)
    {
        if (auto const mark = message.find('#'); mark != std::string_view::npos)
            m_stamps.push_back(
                {std::atoi(message.data() + mark + 1), std::chrono::steady_clock::now().time_since_epoch().count()});
        if (message.find("<end>") == std::string_view::npos)
            return;
        for (std::size_t quote = 2; (quote = message.find('"', quote + 1)) != std::string_view::npos;) {
            if (std::string_view(".!?").find(message[quote - 1]) == std::string_view::npos
                || std::isdigit(static_cast<unsigned char>(message[quote - 2])) == 0)
                continue;
            auto const number = message.rfind(' ', quote) + 1;
            std::exchange(m_voice, std::make_shared<Voice>(m_voiceAddress))
                ->say(std::string(message.substr(number, quote - number)));
            return;
        }
    }

    Address m_voiceAddress;
    std::vector<Stamp>& m_stamps;
    Peer m_peer;
    beast::flat_buffer m_buffer;
    std::shared_ptr<Voice> m_voice;
};

/// A tenth of a second of a file at a time.
class FileFeed {
public:
    FileFeed(asio::io_context& context, char const* file, Stream& stream)
        : m_stream(stream)
        , m_sound(file)
        , m_block(static_cast<std::size_t>(m_sound.samplerate() / 10))
        , m_timer(context)
        , m_due(std::chrono::steady_clock::now())
    {
        send();
    }

private:
    void send()
    {
        auto const count = m_sound.readf(m_block.data(), static_cast<sf_count_t>(m_block.size()));
        if (count == 0)
            return;
        m_stream.send(m_block.data(), static_cast<std::size_t>(count));
        m_timer.expires_at(m_due += std::chrono::milliseconds(100));
        m_timer.async_wait([this](beast::error_code error) {
            if (!error)
                send();
        });
    }

    Stream& m_stream;
    SndfileHandle m_sound;
    std::vector<short> m_block;
    asio::steady_timer m_timer;
    std::chrono::steady_clock::time_point m_due;
};

/// A card with a microphone, sent at a third of the card's rate, and an output for each direction. What the outputs
/// hear is silence.
class Card {
public:
    Card(asio::io_context& context, Stream& stream)
        : m_microphone(microphoneFrames, [&context, &stream, heard = noise(microphoneFrames)] {
            std::vector<short> block(heard.size() / 3);
            for (std::size_t i = 0; i < block.size(); ++i)
                block[i] = static_cast<short>(heard[3 * i] * 32767);
            asio::post(context, [&stream, block = std::move(block)] { stream.send(block.data(), block.size()); });
        })
    {
    }

private:
    static constexpr std::size_t microphoneFrames = 2048; ///< as many as the program takes at a time

    /// Written by its clock's thread only.
    struct Output {
        std::vector<float> block = std::vector<float>(cardOutputFrames);
        Beat beat{cardOutputFrames, [this] { std::fill(block.begin(), block.end(), 0.0F); }};
    };
    Output m_outputs[2];
    Beat m_microphone;
};

} // namespace

int main(int argc, char** argv)
{
    SndfileHandle const sound(argc >= 4 ? argv[3] : "");
    if (sound.error() != SF_ERR_NO_ERROR || sound.channels() != 1) {
        std::fputs("usage: lingrelay-bareclient STT-PORT TTS-PORT MONO-FILE [STREAMS | both]\n", stderr);
        return 2;
    }
    asio::io_context context(1);
    std::vector<Stamp> stamps;
    std::vector<std::unique_ptr<Stream>> streams;
    auto const at = [&context](char const* port) {
        return Address{context, static_cast<unsigned short>(std::atoi(port))};
    };
    bool const both = argc > 4 && std::string_view(argv[4]) == "both";
    int const count = both ? 2 : argc > 4 ? std::atoi(argv[4]) : 1;
    std::vector<std::unique_ptr<FileFeed>> files;
    std::optional<Card> card;
    for (int i = 0; i < count; ++i) {
        streams.push_back(std::make_unique<Stream>(at(argv[1]), at(argv[2]), stamps));
        if (both && i == 1)
            card.emplace(context, *streams.back());
        else
            files.push_back(std::make_unique<FileFeed>(context, argv[3], *streams.back()));
    }
    asio::signal_set ending(context, SIGTERM);
    ending.async_wait([&context](beast::error_code, int) { context.stop(); });
    context.run();
    for (auto const& stamp : stamps)
        std::printf("{\"t\":%.6f,\"text\":\"#%d\"}\n", static_cast<double>(stamp.nanoseconds) / 1e9, stamp.number);
}
