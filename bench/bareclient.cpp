// lingrelay-bareclient PORT FILE: sends a sound file to a recogniser at the speed of the sound and throws the answers
// away. The least a program needs for that, to compare with.

#include "bench/Loopback.h"

#include <boost/asio/connect.hpp>
#include <sndfile.hh>

#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

using namespace lingrelay::bench;
namespace asio = boost::asio;

int main(int argc, char** argv)
{
    SndfileHandle sound(argc == 3 ? argv[2] : "");
    if (sound.error() != SF_ERR_NO_ERROR || sound.channels() != 1) {
        std::fputs("usage: lingrelay-bareclient PORT MONO-FILE\n", stderr);
        return 2;
    }
    asio::io_context context;
    Peer peer(context);
    auto const port = static_cast<unsigned short>(std::atoi(argv[1]));
    peer.next_layer().connect({asio::ip::address_v4::loopback(), port});
    peer.handshake("127.0.0.1", "/bench");
    writeText(peer, "{}");
    std::jthread const reader([&peer] {
        while (!readMessage(peer).empty()) { }
    });

    std::vector<short> block(static_cast<std::size_t>(sound.samplerate() / 10));
    auto next = std::chrono::steady_clock::now();
    peer.binary(true);
    while (auto const count = sound.readf(block.data(), static_cast<sf_count_t>(block.size()))) {
        peer.write(asio::buffer(block.data(), static_cast<std::size_t>(count) * sizeof(short)));
        std::this_thread::sleep_until(next += std::chrono::milliseconds(100));
    }
    writeText(peer, "");
}
