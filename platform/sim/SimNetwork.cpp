#include "platform/sim/SimNetwork.h"

#include "platform/RequestChecks.h"

#include <algorithm>

#include <fmt/format.h>

namespace lingrelay {

namespace {

constexpr auto goodbyeLimit = std::chrono::seconds(1);
constexpr std::size_t largestBody = 16 << 20;

Error timeoutError() { return {Error::Kind::timedOut, "The server did not answer in time."}; }
Error lostError() { return {Error::Kind::networkConnectionLost, "The connection to the server was lost."}; }

} // namespace

/// What the client holds.
class SimSocket final : public WebSocket {
public:
    explicit SimSocket(std::shared_ptr<SimPeer> peer) : m_peer(std::move(peer)) { }
    ~SimSocket() override
    {
        m_peer->m_ledger.release();
        if (!m_peer->m_ledger.cancelled())
            m_peer->fail(lostError());
    }

    State state() const override { return m_peer->m_ledger.state(); }
    void sendText(std::string text, Sent sent) override
    {
        push({SimPeer::Kind::text, std::move(text), std::move(sent)});
    }
    void sendBinary(std::string data, Sent sent) override
    {
        push({SimPeer::Kind::binary, std::move(data), std::move(sent)});
    }
    void ping() override { push({SimPeer::Kind::ping, {}, {}}); }
    std::size_t queuedBytes() const override { return m_peer->m_ledger.queuedBytes(); }

    void receive(Received received) override
    {
        if (m_peer->m_ledger.receive(std::move(received))) {
            m_peer->later({}, [peer = m_peer.get()] {
                peer->m_readerPaused = false;
                for (auto unread = std::exchange(peer->m_unread, {}); !unread.empty(); unread.pop_front())
                    peer->deliver(std::move(unread.front()));
            });
        }
    }

    void cancel(int code) override
    {
        if (m_peer->m_ledger.cancel())
            m_peer->later({}, [peer = m_peer.get(), code] { peer->beginGoodbye(code); });
        else
            m_peer->fail(lostError());
    }

private:
    void push(WebSocketLedger::Outgoing message)
    {
        if (m_peer->m_ledger.push(std::move(message)))
            m_peer->writeSoon();
    }

    std::shared_ptr<SimPeer> const m_peer;
};

SimPeer::SimPeer(VirtualScheduler& wire, Scheduler& scheduler, WebSocketRequest wanted)
    : request(std::move(wanted))
    , m_wire(wire)
    , m_ledger(scheduler, request, {})
    , m_lifeEnd(request.lifetime > Duration() ? wire.now() + request.lifetime : Instant::max())
{
    m_limit = std::min(wire.now() + request.connectTimeout, m_lifeEnd);
}

std::size_t SimPeer::count(Kind kind) const
{
    return static_cast<std::size_t>(
        std::count_if(frames.begin(), frames.end(), [kind](Frame const& frame) { return frame.kind == kind; }));
}

std::vector<std::string> SimPeer::data(Kind kind) const
{
    std::vector<std::string> result;
    for (auto const& frame : frames) {
        if (frame.kind == kind)
            result.push_back(frame.data);
    }
    return result;
}

/// Jobs of an instant run in the order of the calls; none runs once the connection is gone.
void SimPeer::later(Duration delay, std::function<void()> job)
{
    auto guarded = [weak = weak_from_this(), job = std::move(job)] {
        if (auto const self = weak.lock(); self && !self->gone)
            job();
    };
    if (delay > Duration())
        m_wire.startTimer(m_wire.now() + delay, std::move(guarded));
    else
        m_wire.post(std::move(guarded));
}

void SimPeer::accept(Duration delay)
{
    later(delay, [this] {
        if (std::exchange(m_open, true))
            return;
        m_heard = m_wire.now();
        m_limit = m_lifeEnd;
        watch();
        if (m_ledger.open(0))
            write();
    });
}

void SimPeer::refuse(Error error, Duration delay)
{
    later(delay, [this, error = std::move(error)] { fail(error); });
}

void SimPeer::sendText(std::string text, Duration delay)
{
    later(delay, [this, text = std::move(text)]() mutable { deliver({false, std::move(text)}); });
}

void SimPeer::sendBinary(std::string data, Duration delay)
{
    later(delay, [this, data = std::move(data)]() mutable { deliver({true, std::move(data)}); });
}

void SimPeer::deliver(WebSocket::Message message)
{
    m_heard = m_wire.now();
    if (m_readerPaused)
        m_unread.push_back(std::move(message));
    else
        m_readerPaused = !m_ledger.delivered(std::move(message));
}

void SimPeer::close(int code, Duration delay)
{
    refuse({Error::Kind::networkConnectionLost, fmt::format("The server closed the connection (code {}).", code), code},
        delay);
}

void SimPeer::drop(Duration delay) { refuse(lostError(), delay); }

void SimPeer::resume()
{
    m_stalled = false;
    writeSoon();
}

void SimPeer::writeSoon()
{
    later({}, [this] { write(); });
}

void SimPeer::write()
{
    if (!m_open)
        return;
    WebSocketLedger::Outgoing message;
    while (!m_stalled && !gone && m_ledger.next(message)) {
        m_ledger.written();
        frames.push_back({message.kind, std::move(message.data), m_wire.now()});
        if (message.kind == Kind::ping && answersPings)
            m_heard = m_wire.now();
        if (onFrame)
            onFrame(Frame(frames.back()));
    }
    if (!m_stalled && !gone && m_goodbyeCode) {
        closeCode = m_goodbyeCode;
        fail(lostError());
    }
}

void SimPeer::beginGoodbye(int code)
{
    m_goodbyeCode = code;
    m_limit = m_wire.now() + goodbyeLimit;
    watch();
    write();
}

void SimPeer::fail(Error error)
{
    if (std::exchange(gone, true))
        return;
    m_wire.stopTimer(m_watchTimer);
    m_ledger.fail(std::move(error));
}

Instant SimPeer::limit() const
{
    bool const idleCounts = m_open && request.idleTimeout > Duration() && !m_readerPaused;
    return std::min(m_limit, idleCounts ? m_heard + request.idleTimeout : Instant::max());
}

void SimPeer::watch()
{
    auto const when = limit();
    if (gone || when == Instant::max())
        return;
    m_wire.stopTimer(m_watchTimer);
    m_watchTimer = m_wire.startTimer(when, [weak = weak_from_this()] {
        auto const self = weak.lock();
        if (!self)
            return;
        if (self->m_wire.now() >= self->limit())
            self->fail(timeoutError());
        else
            self->watch();
    });
}

void SimExchange::finish(std::shared_ptr<State> const& state, Result<HttpResponse> result)
{
    if (!state->done)
        return;
    state->wire.stopTimer(state->timeoutTimer);
    if (result && result->body.size() > largestBody)
        result = Error{Error::Kind::badServerResponse, "The server's answer is too large."};
    if (result) {
        for (auto& header : result->headers)
            std::transform(header.first.begin(), header.first.end(), header.first.begin(),
                [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    }
    state->scheduler.post(
        [done = std::exchange(state->done, {}), result = std::move(result)]() mutable { done(std::move(result)); });
}

void SimExchange::answer(Result<HttpResponse> result, Duration delay) const
{
    auto job = [state = m_state, result = std::move(result)] { finish(state, result); };
    if (delay > Duration())
        m_state->wire.startTimer(m_state->wire.now() + delay, std::move(job));
    else
        m_state->wire.post(std::move(job));
}

std::shared_ptr<WebSocket> SimNetwork::connect(WebSocketRequest request, Scheduler& scheduler)
{
    if (auto error = requestProblem(request))
        return failedSocket(scheduler, std::move(*error));
    auto const peer = std::shared_ptr<SimPeer>(new SimPeer(m_wire, scheduler, std::move(request)));
    m_peers.push_back(peer);
    peer->watch();
    peer->later({}, [this, peer = peer.get()] {
        if (onConnect)
            onConnect(*peer);
        else
            peer->accept();
    });
    return std::make_shared<SimSocket>(peer);
}

void SimNetwork::exchange(HttpRequest request, Scheduler& scheduler, std::function<void(Result<HttpResponse>)> done)
{
    if (auto error = requestProblem(request)) {
        scheduler.post([done = std::move(done), error = std::move(*error)] { done(error); });
        return;
    }
    SimExchange exchange;
    auto const timeout = std::min(request.timeout, request.idleTimeout); // an answer comes whole, after silence
    exchange.m_state = std::make_shared<SimExchange::State>(
        SimExchange::State{m_wire, scheduler, std::move(request), std::move(done), 0});
    exchange.m_state->timeoutTimer = m_wire.startTimer(
        m_wire.now() + timeout, [state = exchange.m_state] { SimExchange::finish(state, timeoutError()); });
    m_wire.post([this, exchange] {
        if (onExchange)
            onExchange(exchange);
    });
}

} // namespace lingrelay
