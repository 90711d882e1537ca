#include "service/wire/SttConversation.h"

#include "service/engines/Pcm.h"
#include "service/engines/Recogniser.h"
#include "service/engines/Resampler.h"
#include "service/wire/SttConfig.h"
#include "service/wire/Tokens.h"

#include <boost/asio/post.hpp>

namespace lingrelay::service {

namespace {

constexpr std::size_t backlogLimit = 2 * Recogniser::rate; ///< sound that may wait for the recogniser
constexpr auto busySign = seconds(1.0); ///< after its last frame a client takes silence for the end
constexpr auto previewPause = seconds(0.5); ///< between two translations of unfinished sentences
constexpr std::int64_t progressMs = 2000; ///< sound after which a client hears that it is still listened to

using Event = Recogniser::Event;

class SttConversation : public std::enable_shared_from_this<SttConversation> {
public:
    SttConversation(std::shared_ptr<Peer> peer, Provider& provider) : m_peer(std::move(peer)), m_provider(provider) { }

    asio::awaitable<void> run();

private:
    asio::awaitable<std::optional<SttConfig>> receiveConfig();
    void begin(SttConfig config);
    void takeFrames();
    void takeSound(std::string const& bytes);
    void takeMessage(std::string const& text);
    asio::awaitable<void> handle(Event event);
    asio::awaitable<void> preview(std::vector<SpokenWord> const& words);
    asio::awaitable<void> giveFinals(std::vector<SpokenWord> const& words, Ending ending);
    asio::awaitable<std::optional<std::string>> translated(std::string text);
    void checkTime();
    void sendTokens(Json tokens);
    void sendProgress();
    void fail(ProtocolError const& error);

    std::shared_ptr<Peer> m_peer;
    Provider& m_provider;
    SttConfig m_config;
    std::optional<TokenWriter> m_tokens;
    std::optional<Resampler> m_resampler;
    std::unique_ptr<Recogniser> m_recogniser;
    std::deque<Event> m_events;
    std::string m_oddByte;
    std::string m_previewTranslation;
    Instant m_lastPreview{};
    Instant m_lastSign{}; ///< of life: sound or a keep-alive
    std::int64_t m_toldMs = 0; ///< sound heard as of the last message
    bool m_anySound = false;
    bool m_ending = false; ///< the client has sent its last frame
    bool m_over = false;
};

asio::awaitable<void> SttConversation::run()
{
    auto const config = co_await receiveConfig();
    if (!config)
        co_return;
    if (m_provider.sttStreams >= m_provider.limits.sttStreams
        || !m_provider.sttRequests.admit(m_provider.limits.sttRequestsAMinute, Clock::now())) {
        fail({429, "Too many requests: the limit of streams at a time or of requests a minute is reached."});
        co_return;
    }
    Counted const counted(m_provider.sttStreams);
    begin(*config);
    while (!m_peer->closed() && !m_over) {
        while (!m_events.empty() && !m_over) {
            auto event = std::move(m_events.front());
            m_events.pop_front();
            co_await handle(std::move(event));
        }
        takeFrames();
        checkTime();
        if (m_over || !m_events.empty())
            continue;
        auto const idleEnd = m_lastSign + seconds(m_provider.limits.idleSeconds);
        auto const wakeAt = m_ending ? Clock::now() + busySign : idleEnd;
        co_await m_peer->changed(wakeAt);
        if (m_ending && Clock::now() >= wakeAt)
            sendProgress();
    }
    m_recogniser.reset();
}

asio::awaitable<std::optional<SttConfig>> SttConversation::receiveConfig()
{
    auto const deadline = Clock::now() + seconds(m_provider.limits.startSeconds);
    std::optional<Peer::Frame> frame;
    while (!(frame = m_peer->take()) && !m_peer->closed() && Clock::now() < deadline)
        co_await m_peer->changed(deadline);
    if (!frame) {
        fail({408, "Start request timeout"});
        co_return std::nullopt;
    }
    auto const message = parseJson(frame->data);
    if (!message || !message->is_object()) {
        fail({400, "The first message must be the configuration, as a JSON object."});
        co_return std::nullopt;
    }
    if (!authorised(m_provider, *m_peer, *message)) {
        fail({401, wrongKeyText});
        co_return std::nullopt;
    }
    auto config = SttConfig::parse(*message, m_provider.translator.targets(), m_provider.limits);
    if (auto const* problem = std::get_if<ProtocolError>(&config)) {
        fail(*problem);
        co_return std::nullopt;
    }
    co_return std::get<SttConfig>(config);
}

void SttConversation::begin(SttConfig config)
{
    m_config = std::move(config);
    m_tokens.emplace(TokenStyle{m_config.speakers, m_config.target.has_value(), "en", m_config.target.value_or("")});
    if (m_config.sampleRate != Recogniser::rate)
        m_resampler.emplace(m_config.sampleRate, Recogniser::rate);
    if (m_config.target)
        m_provider.translator.warm(*m_config.target);
    m_lastSign = Clock::now();
    auto const executor = m_peer->executor();
    m_recogniser = std::make_unique<Recogniser>(
        m_provider.decoders, m_config.pauseMs,
        [executor, weak = weak_from_this()](Event event) {
            asio::post(executor, [weak, event = std::move(event)]() mutable {
                if (auto const self = weak.lock()) {
                    self->m_events.push_back(std::move(event));
                    self->m_peer->wake();
                }
            });
        },
        [executor, weak = std::weak_ptr(m_peer)] {
            asio::post(executor, [weak] {
                if (auto const peer = weak.lock())
                    peer->wake();
            });
        });
}

/// Takes what has arrived, unless the recogniser is behind: then it stays on the wire.
void SttConversation::takeFrames()
{
    while (!m_over) {
        if (m_recogniser->backlog() > backlogLimit) {
            m_lastSign = Clock::now();
            return;
        }
        auto const frame = m_peer->take();
        if (!frame)
            return;
        if (m_ending)
            continue;
        if (frame->data.empty()) {
            m_ending = true;
            if (m_resampler)
                m_recogniser->push(m_resampler->finish());
            m_recogniser->finish();
        } else if (frame->binary) {
            takeSound(frame->data);
        } else {
            takeMessage(frame->data);
        }
    }
}

void SttConversation::takeSound(std::string const& bytes)
{
    m_lastSign = Clock::now();
    m_anySound = true;
    m_oddByte += bytes;
    auto samples = takeSamples(m_oddByte);
    m_recogniser->push(m_resampler ? m_resampler->add(samples) : std::move(samples));
}

void SttConversation::takeMessage(std::string const& text)
{
    auto const message = parseJson(text);
    auto const type = message ? jsonString(*message, "type").value_or("") : "";
    if (type == "keepalive")
        m_lastSign = Clock::now();
    else if (type == "finalize")
        m_recogniser->finalize();
    else
        fail({400, "Unknown message: after the configuration the service takes sound, keepalive and finalize."});
}

asio::awaitable<void> SttConversation::handle(Event event)
{
    switch (event.kind) {
    case Event::Kind::partial:
        if (m_events.empty()) // else it is old news
            co_await preview(event.words);
        break;
    case Event::Kind::piece:
        co_await giveFinals(event.words, Ending::open);
        break;
    case Event::Kind::utterance:
        co_await giveFinals(event.words, Ending::sentence);
        break;
    case Event::Kind::finalized:
        sendTokens(Json::array({TokenWriter::marker("<fin>")}));
        break;
    case Event::Kind::finished: {
        auto const progress = m_recogniser->progress();
        m_peer->send(Json{{"tokens", Json::array()}, {"final_audio_proc_ms", progress.totalMs},
            {"total_audio_proc_ms", progress.totalMs}, {"finished", true}});
        m_peer->close();
        m_over = true;
        break;
    }
    case Event::Kind::failed:
        fail({503, "Cannot continue request (code 1). Please restart the request."});
        break;
    }
}

asio::awaitable<void> SttConversation::preview(std::vector<SpokenWord> const& words)
{
    if (m_config.target && Clock::now() - m_lastPreview >= previewPause) {
        m_lastPreview = Clock::now();
        auto const text = m_tokens->sentence(words, Ending::open);
        auto const translation = co_await translated(text);
        m_previewTranslation = translation.value_or("");
        if (!m_events.empty())
            co_return;
    }
    auto tokens = m_tokens->originals(words, Finality::partial, Ending::open);
    for (auto& token : m_tokens->translation(m_previewTranslation, Finality::partial))
        tokens.push_back(std::move(token));
    sendTokens(std::move(tokens));
}

asio::awaitable<void> SttConversation::giveFinals(std::vector<SpokenWord> const& words, Ending ending)
{
    m_previewTranslation.clear();
    if (words.empty() && !m_tokens->sentenceOpen())
        co_return sendTokens(Json::array()); // takes back the last guess
    auto const text = m_tokens->sentence(words, ending);
    auto originals = m_tokens->originals(words, Finality::final, ending);
    sendTokens(std::move(originals));
    Json rest = Json::array();
    if (m_config.target && !text.empty()) {
        auto const translation = co_await translated(text);
        if (!translation)
            co_return fail({503,
                "Cannot continue request (code 2): the local translator gave no text. Please restart "
                "the request."});
        rest = m_tokens->translation(*translation, Finality::final);
    }
    if (ending == Ending::sentence && m_config.endpoints)
        rest.push_back(TokenWriter::marker("<end>"));
    if (!rest.empty())
        sendTokens(std::move(rest));
}

asio::awaitable<std::optional<std::string>> SttConversation::translated(std::string text)
{
    if (*m_config.target == "en")
        co_return text;
    co_return co_await m_provider.translator.translate(*m_config.target, std::move(text));
}

void SttConversation::checkTime()
{
    if (m_over)
        return;
    auto const progress = m_recogniser->progress();
    if (progress.totalMs > m_toldMs + progressMs && m_events.empty() && progress.finalMs == progress.totalMs)
        sendTokens(Json::array());
    if (static_cast<double>(progress.totalMs) > m_provider.limits.sttStreamMinutes * 60000)
        fail({400, "The stream is longer than the service allows."});
    else if (!m_ending && Clock::now() >= m_lastSign + seconds(m_provider.limits.idleSeconds))
        fail({408, m_anySound ? "Request timeout." : "Timed out while waiting for the first audio chunk"});
    else if (m_ending)
        m_lastSign = Clock::now();
}

void SttConversation::sendTokens(Json tokens)
{
    auto const progress = m_recogniser->progress();
    m_toldMs = progress.totalMs;
    m_peer->send(Json{{"tokens", std::move(tokens)}, {"final_audio_proc_ms", progress.finalMs},
        {"total_audio_proc_ms", progress.totalMs}});
}

/// Without tokens, so that what the client shows stays.
void SttConversation::sendProgress()
{
    auto const progress = m_recogniser->progress();
    m_toldMs = progress.totalMs;
    m_peer->send(Json{{"final_audio_proc_ms", progress.finalMs}, {"total_audio_proc_ms", progress.totalMs}});
}

void SttConversation::fail(ProtocolError const& error)
{
    m_peer->send(error.frame());
    m_peer->close();
    m_over = true;
}

} // namespace

asio::awaitable<void> converseStt(std::shared_ptr<Peer> peer, Provider& provider)
{
    auto const conversation = std::make_shared<SttConversation>(std::move(peer), provider);
    co_await conversation->run();
}

} // namespace lingrelay::service
