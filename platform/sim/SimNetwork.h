#pragma once

#include "platform/Network.h"
#include "platform/WebSocketLedger.h"
#include "platform/sim/VirtualTime.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// The other end of one socket, played by a test. Delays count from the call, on the virtual clock.
class SimPeer : public std::enable_shared_from_this<SimPeer> {
public:
    using Kind = WebSocketLedger::Outgoing::Kind;
    struct Frame {
        Kind kind = Kind::text;
        std::string data;
        Instant at;
    };

    // What the client did.
    WebSocketRequest request;
    std::vector<Frame> frames; ///< as read by the peer
    std::optional<int> closeCode; ///< of the client's close frame
    bool gone = false; ///< the client has closed, let go or timed out
    std::size_t count(Kind kind) const;
    /// Data of the frames of one kind, in order.
    std::vector<std::string> data(Kind kind) const;

    // What the peer does. Without accept() or refuse() the connection is never answered.
    void accept(Duration delay = {});
    void refuse(Error error, Duration delay = {});
    void sendText(std::string text, Duration delay = {});
    void sendBinary(std::string data, Duration delay = {});
    /// A close frame.
    void close(int code, Duration delay = {});
    /// The connection breaks without a word.
    void drop(Duration delay = {});
    /// While stalled the peer reads nothing, and the system takes nothing.
    void stall() { m_stalled = true; }
    void resume();
    bool answersPings = true;
    std::function<void(Frame const&)> onFrame;

private:
    friend class SimNetwork;
    friend class SimSocket;
    SimPeer(VirtualScheduler& wire, Scheduler& scheduler, WebSocketRequest wanted);

    void later(Duration delay, std::function<void()> job);
    void fail(Error error);
    void write();
    void writeSoon();
    void deliver(WebSocket::Message message);
    void beginGoodbye(int code);
    void watch();
    Instant limit() const;

    VirtualScheduler& m_wire;
    WebSocketLedger m_ledger;
    Instant m_limit; ///< of the present stage: the connecting, the life, the goodbye
    Instant m_lifeEnd;
    Instant m_heard{};
    Scheduler::TimerId m_watchTimer = 0;
    bool m_open = false;
    bool m_stalled = false;
    bool m_readerPaused = false;
    std::deque<WebSocket::Message> m_unread;
    std::optional<int> m_goodbyeCode;
};

/// An HTTP request that waits for its answer. Copies are the same exchange; the first answer counts.
class SimExchange {
public:
    HttpRequest const& request() const { return m_state->request; }
    void answer(Result<HttpResponse> result, Duration delay = {}) const;

private:
    friend class SimNetwork;
    struct State {
        VirtualScheduler& wire;
        Scheduler& scheduler;
        HttpRequest request;
        std::function<void(Result<HttpResponse>)> done;
        Scheduler::TimerId timeoutTimer;
    };
    static void finish(std::shared_ptr<State> const& state, Result<HttpResponse> result);

    std::shared_ptr<State> m_state;
};

/// Network without a network: a test plays the servers, in virtual time. One thread. Lives shorter than its time, and
/// longer than its sockets.
class SimNetwork final : public Network {
public:
    explicit SimNetwork(VirtualTime& time) : m_wire(time) { }

    /// Called on the wire's own turn for every new connection. Without it every connection is accepted at once.
    std::function<void(SimPeer&)> onConnect;
    /// Called for every HTTP request. Without it none is answered.
    std::function<void(SimExchange)> onExchange;

    /// Every connection that was tried, in order, also those that are gone. A bad URL makes none.
    std::vector<std::shared_ptr<SimPeer>> const& peers() const { return m_peers; }
    /// Those that nobody uses any more, in a run that is too long to keep all.
    void forgetPeers()
    {
        std::erase_if(m_peers, [](auto const& peer) { return peer.use_count() == 1; });
    }

    std::shared_ptr<WebSocket> connect(WebSocketRequest request, Scheduler& scheduler) override;
    void exchange(HttpRequest request, Scheduler& scheduler, std::function<void(Result<HttpResponse>)> done) override;

private:
    VirtualScheduler m_wire;
    std::vector<std::shared_ptr<SimPeer>> m_peers;
};

} // namespace lingrelay
