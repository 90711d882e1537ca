#include "service/script/ScriptPlayer.h"

#include "service/wire/SttConfig.h"

namespace lingrelay::service {

namespace {

using Action = ScriptStep::Action;

Duration milliseconds(double ms) { return seconds(ms / 1000); }

/// "$stream_id" becomes the id of the last message.
std::string filledIn(std::string text, std::string const& streamId)
{
    constexpr std::string_view name = "$stream_id";
    auto const quoted = jsonText(streamId);
    auto const inside = std::string_view(quoted).substr(1, quoted.size() - 2);
    for (auto at = text.find(name); at != std::string::npos; at = text.find(name, at + inside.size()))
        text.replace(at, name.size(), inside);
    return text;
}

class Player {
public:
    Player(std::shared_ptr<Peer> peer, ScriptConnection const& connection, std::string name, Provider& provider,
        Recorder& recorder)
        : m_peer(std::move(peer))
        , m_connection(connection)
        , m_name(std::move(name))
        , m_provider(provider)
        , m_recorder(recorder)
    {
    }

    asio::awaitable<void> run();

private:
    void receive(Peer::Frame const& frame);
    void receiveFirst(Json const& message);
    asio::awaitable<void> playDueSteps();
    asio::awaitable<void> perform(ScriptStep const& step);
    bool triggered(ScriptStep const& step) const;
    std::optional<Instant> dueTime(ScriptStep const& step);
    Instant nextTime() const;
    double audioMs() const { return static_cast<double>(m_bytes) / m_bytesAMs; }
    void record(char const* event, Json line = Json::object());

    std::shared_ptr<Peer> m_peer;
    ScriptConnection const& m_connection;
    std::string m_name;
    Provider& m_provider;
    Recorder& m_recorder;
    std::int64_t m_bytes = 0; ///< of binary frames
    int m_texts = 0;
    bool m_ended = false;
    std::optional<Instant> m_first; ///< when the first message came
    std::string m_streamId;
    double m_bytesAMs = 32;
    std::size_t m_next = 0; ///< step
    std::optional<Instant> m_due; ///< of the next step, once it was triggered
};

asio::awaitable<void> Player::run()
{
    record("open", {{"path", std::string(m_peer->request().target())}, {"bearer", m_peer->bearer().value_or("")}});
    while (!m_peer->closed()) {
        while (auto const frame = m_peer->take())
            receive(*frame);
        co_await playDueSteps();
        if (!m_peer->closed())
            co_await m_peer->changed(nextTime());
    }
    while (auto const frame = m_peer->take()) // what came with the close
        receive(*frame);
    record("closed", {{"bytes", m_bytes}, {"audio_ms", audioMs()}, {"texts", m_texts}});
}

void Player::receive(Peer::Frame const& frame)
{
    if (frame.data.empty()) {
        m_ended = true;
        record("end");
    } else if (frame.binary) {
        m_bytes += static_cast<std::int64_t>(frame.data.size());
        record("binary", {{"bytes", frame.data.size()}});
    } else {
        ++m_texts;
        auto const message = parseJson(frame.data).value_or(Json());
        m_streamId = jsonString(message, "stream_id").value_or(m_streamId);
        record("text", message.is_null() ? Json{{"text", frame.data}} : Json{{"message", message}});
        if (!m_first)
            receiveFirst(message);
    }
}

void Player::receiveFirst(Json const& message)
{
    m_first = Clock::now();
    m_bytesAMs = static_cast<double>(std::max<std::int64_t>(jsonInteger(message, "sample_rate").value_or(16000), 1000))
        * 2 / 1000;
    if (m_connection.checkKey && !authorised(m_provider, *m_peer, message)) {
        m_peer->send(ProtocolError{401, wrongKeyText}.frame());
        m_peer->close();
    }
}

asio::awaitable<void> Player::playDueSteps()
{
    while (m_next < m_connection.steps.size() && !m_peer->closed()) {
        auto const& step = m_connection.steps[m_next];
        auto const due = dueTime(step);
        if (!due || Clock::now() < *due)
            co_return;
        co_await perform(step);
        ++m_next;
        m_due.reset();
    }
}

/// A step without a trigger follows at once, but not before the first message.
bool Player::triggered(ScriptStep const& step) const
{
    return (!step.atMs || Clock::now() - *m_first >= milliseconds(*step.atMs))
        && (!step.afterAudioMs || audioMs() >= *step.afterAudioMs) && (!step.afterTexts || m_texts >= *step.afterTexts)
        && (!step.afterEnd || m_ended);
}

std::optional<Instant> Player::dueTime(ScriptStep const& step)
{
    if (!m_due && m_first && triggered(step))
        m_due = Clock::now() + milliseconds(step.delayMs);
    return m_due;
}

/// When the next step is due, as far as time alone decides that.
Instant Player::nextTime() const
{
    if (m_due)
        return *m_due;
    if (m_next >= m_connection.steps.size() || !m_first)
        return Instant::max();
    auto const& step = m_connection.steps[m_next];
    auto const time = step.atMs ? *m_first + milliseconds(*step.atMs) : Instant::max();
    return time > Clock::now() ? time : Instant::max();
}

asio::awaitable<void> Player::perform(ScriptStep const& step)
{
    switch (step.action) {
    case Action::message:
        m_peer->send(filledIn(step.data, m_streamId));
        co_await m_peer->room();
        break;
    case Action::stall:
        m_peer->holdReading(true);
        co_await pause(m_peer->executor(), milliseconds(step.stallMs));
        m_peer->holdReading(false);
        break;
    case Action::drop:
        record("dropped");
        m_peer->drop();
        break;
    case Action::nothing:
        break;
    }
}

void Player::record(char const* event, Json line)
{
    line["connection"] = m_name;
    line["event"] = event;
    m_recorder.write(std::move(line));
}

} // namespace

asio::awaitable<void> playScript(std::shared_ptr<Peer> peer, ScriptConnection const& connection, std::string name,
    Provider& provider, Recorder& recorder)
{
    Player player(std::move(peer), connection, std::move(name), provider, recorder);
    co_await player.run();
}

} // namespace lingrelay::service
