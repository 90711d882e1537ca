// lingrelay-bench-server: a recogniser on loopback that listens to nothing and talks all the time, eight messages a
// second. Prints its address; serves one connection at a time.

#include "bench/Conversation.h"
#include "bench/Loopback.h"

#include <cstdio>
#include <thread>

using namespace lingrelay::bench;

namespace {

void serve(Peer& peer)
{
    readMessage(peer); // the configuration
    std::jthread const talk([&peer](std::stop_token stop) {
        Conversation conversation;
        auto next = std::chrono::steady_clock::now();
        while (!stop.stop_requested() && writeText(peer, conversation.next()))
            std::this_thread::sleep_until(next += std::chrono::milliseconds(125));
    });
    while (!readMessage(peer).empty()) { }
}

} // namespace

int main()
{
    Loopback loopback;
    std::printf("%s\n", loopback.url().c_str());
    std::fflush(stdout);
    for (;;) {
        auto const peer = loopback.accept();
        serve(*peer);
        writeText(*peer, R"({"tokens":[],"finished":true})");
        boost::beast::error_code ignored;
        peer->close(boost::beast::websocket::close_code::normal, ignored);
    }
}
