#pragma once

#include "platform/sim/SimNetwork.h"
#include "tests/platform/TestServer.h"

namespace lingrelay {

/// The contract tests' server, played by simulated peers.
class SimServer final : public TestServer {
public:
    explicit SimServer(SimNetwork& network) : m_network(network) { answerWith(Answer::accept, {}); }

    void answerWith(Answer answer, Duration delay) override
    {
        m_network.onConnect = [answer, delay](SimPeer& peer) {
            if (answer == Answer::accept)
                peer.accept(delay);
            else if (answer == Answer::refuse)
                peer.refuse(
                    {Error::Kind::badServerResponse, "The server refused the connection (HTTP 401).", 401}, delay);
        };
    }

    void answerHttp(std::function<HttpAnswer(HttpSeen const&)> answer) override
    {
        m_network.onExchange = [answer = std::move(answer)](SimExchange const& exchange) {
            auto const& request = exchange.request();
            HttpSeen seen{request.method, request.url.substr(request.url.find('/', 8)), request.body, request.headers};
            for (auto& header : seen.headers)
                std::transform(header.first.begin(), header.first.end(), header.first.begin(),
                    [](unsigned char c) { return std::tolower(c); });
            auto const result = answer(seen);
            if (result.delay >= Duration())
                exchange.answer(result.response, result.delay);
        };
    }

    std::string url(std::string const& scheme, std::string const& target) const override
    {
        return scheme + "://localhost:9" + target;
    }

    std::vector<Seen> seen() override
    {
        std::vector<Seen> result;
        for (auto const& peer : m_network.peers()) {
            auto const& url = peer->request.url;
            Seen seen{url.substr(url.find('/', 8)), "Bearer " + peer->request.bearer, {}, peer->closeCode, peer->gone};
            for (auto const& frame : peer->frames) {
                using Kind = SimPeer::Kind;
                seen.frames.push_back(
                    frame.kind == Kind::ping ? "ping" : (frame.kind == Kind::text ? "text " : "binary ") + frame.data);
            }
            result.push_back(std::move(seen));
        }
        return result;
    }

    void act(std::size_t connection, Deed deed) override
    {
        auto& peer = *m_network.peers().at(connection);
        switch (deed.kind) {
        case Deed::Kind::send:
            return deed.message.binary ? peer.sendBinary(deed.message.data) : peer.sendText(deed.message.data);
        case Deed::Kind::close:
            return peer.close(deed.code);
        case Deed::Kind::drop:
            return peer.drop();
        case Deed::Kind::stall:
            return peer.stall();
        case Deed::Kind::resume:
            return peer.resume();
        }
    }
    std::size_t unreadBytes(std::size_t) override { return 0; }

private:
    SimNetwork& m_network;
};

} // namespace lingrelay
