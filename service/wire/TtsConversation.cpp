#include "service/wire/TtsConversation.h"

#include "base/Base64.h"
#include "base/Log.h"
#include "base/Text.h"
#include "service/engines/Pcm.h"

#include <boost/asio/co_spawn.hpp>

namespace lingrelay::service {

namespace {

constexpr auto quietTime = seconds(300); ///< a socket without a message and without a stream
constexpr std::size_t textLimit = 100'000; ///< bytes that wait to be spoken

/// Where the last whole sentence ends; 0 without one.
std::size_t sentencesEnd(std::string_view text)
{
    auto const stop = text.find_last_of(".!?\n");
    return stop == std::string_view::npos || stop + 1 == text.size() ? 0 : stop + 1;
}

class TtsConversation : public std::enable_shared_from_this<TtsConversation> {
public:
    TtsConversation(std::shared_ptr<Peer> peer, Provider& provider) : m_peer(std::move(peer)), m_provider(provider) { }

    asio::awaitable<void> run();

private:
    struct Stream {
        Stream(asio::any_io_executor const& executor, std::string streamId) : id(std::move(streamId)), changed(executor)
        {
        }
        std::string id;
        Voices::Speech speech; ///< but for the text
        std::string text; ///< not yet spoken
        bool textEnded = false;
        bool cancelled = false;
        std::int64_t samples = 0; ///< sent so far
        Signal changed;
    };

    asio::awaitable<void> handle(Peer::Frame frame);
    asio::awaitable<void> open(std::string id, Json message);
    asio::awaitable<std::optional<std::string>> configure(Stream& stream, Json const& message);
    void addText(Stream& stream, Json const& message);
    asio::awaitable<void> runStream(std::shared_ptr<Stream> stream);
    asio::awaitable<bool> speak(std::shared_ptr<Stream> stream, std::string text);
    asio::awaitable<bool> sendBlock(std::shared_ptr<Stream> stream, std::vector<std::int16_t> block);
    void sendError(std::string const& id, int code, std::string const& text);
    void failStream(std::string const& id, int code, std::string const& text);
    void failSocket(int code, std::string const& text);

    std::shared_ptr<Peer> m_peer;
    Provider& m_provider;
    std::map<std::string, std::shared_ptr<Stream>> m_streams;
    bool m_begun = false; ///< a first message has come
};

asio::awaitable<void> TtsConversation::run()
{
    if (m_provider.ttsConnections >= m_provider.limits.ttsConnections) {
        failSocket(429, "Too many concurrent connections.");
        co_return;
    }
    Counted const counted(m_provider.ttsConnections);
    auto deadline = Clock::now() + seconds(m_provider.limits.startSeconds);
    while (!m_peer->closed()) {
        if (auto frame = m_peer->take()) {
            co_await handle(std::move(*frame));
            m_begun = true;
            deadline = Clock::now() + quietTime;
        } else if (Clock::now() >= deadline && m_streams.empty()) {
            failSocket(408, m_begun ? "Request timeout." : "Start request timeout");
            break;
        } else {
            if (Clock::now() >= deadline)
                deadline = Clock::now() + quietTime;
            co_await m_peer->changed(deadline);
        }
    }
    for (auto const& [id, stream] : m_streams) {
        stream->cancelled = true;
        stream->changed.notify();
    }
}

asio::awaitable<void> TtsConversation::handle(Peer::Frame frame)
{
    auto const message = parseJson(frame.data);
    if (!message || !message->is_object()) {
        failSocket(400, "Every message must be a JSON object.");
        co_return;
    }
    if (jsonString(*message, "type") == "keepalive" || jsonBool(*message, "keep_alive").value_or(false))
        co_return;
    auto const id = jsonString(*message, "stream_id");
    if (!id) {
        failSocket(400, "\"stream_id\" must be given as a string.");
        co_return;
    }
    auto const found = m_streams.find(*id);
    if (found == m_streams.end()) {
        co_await open(*id, *message);
    } else if (jsonBool(*message, "cancel").value_or(false)) {
        found->second->cancelled = true;
        found->second->changed.notify();
    } else if (message->contains("model")) {
        failStream(*id, 400, "This stream_id is in use.");
    } else {
        addText(*found->second, *message);
    }
}

/// The first message of a stream is its configuration; it may bring text already.
asio::awaitable<void> TtsConversation::open(std::string id, Json message)
{
    if (!message.contains("model") && !message.contains("voice"))
        co_return failStream(id, 400, "This stream_id has no configuration.");
    if (!authorised(m_provider, *m_peer, message))
        co_return failSocket(401, wrongKeyText);
    if (std::cmp_greater_equal(m_streams.size(), m_provider.limits.ttsStreamsAConnection))
        co_return failStream(id, 429, "Too many concurrent streams on this connection.");
    if (!m_provider.ttsRequests.admit(m_provider.limits.ttsRequestsAMinute, Clock::now()))
        co_return failStream(id, 429, "Too many requests: the limit of requests a minute is reached.");
    auto stream = std::make_shared<Stream>(m_peer->executor(), id);
    if (auto const problem = co_await configure(*stream, message))
        co_return failStream(id, 400, *problem);
    m_streams[id] = stream;
    addText(*stream, message);
    asio::co_spawn(m_peer->executor(), runStream(stream), [self = shared_from_this()](std::exception_ptr) {});
}

asio::awaitable<std::optional<std::string>> TtsConversation::configure(Stream& stream, Json const& message)
{
    if (!jsonString(message, "model"))
        co_return "\"model\" must be given as a string.";
    auto const format = jsonString(message, "audio_format").value_or("");
    if (format != "pcm_s16le")
        co_return fmt::format("Unsupported audio_format \"{}\": the local service makes pcm_s16le.", format);
    auto const rate = jsonInteger(message, "sample_rate").value_or(24000);
    if (rate < 8000 || rate > 48000)
        co_return "\"sample_rate\" must be from 8000 to 48000.";
    auto const speed = jsonNumber(message, "speed").value_or(1.0);
    if (speed < 0.7 || speed > 1.3)
        co_return "\"speed\" must be from 0.7 to 1.3.";
    auto const name = jsonString(message, "voice").value_or("Daniel");
    auto const* voice = Voices::find(name);
    if (!voice) {
        std::string names;
        for (auto const& each : Voices::all())
            names += (names.empty() ? "" : ", ") + std::string(each.name);
        co_return fmt::format("Unknown voice \"{}\". The local service has: {}.", name, names);
    }
    auto const languages = co_await m_provider.voices.languages();
    auto const code = jsonString(message, "language").value_or("");
    auto const found = languages.find(code);
    if (found == languages.end()) {
        std::string codes;
        for (auto const& [each, spoken] : languages)
            codes += (codes.empty() ? "" : ", ") + each;
        co_return fmt::format("Unsupported language \"{}\". The local service speaks: {}.", code,
            codes.empty() ? "nothing, as espeak-ng does not run" : codes);
    }
    stream.speech = {"", found->second, voice, speed, static_cast<int>(rate)};
    co_return std::nullopt;
}

void TtsConversation::addText(Stream& stream, Json const& message)
{
    if (stream.textEnded)
        return;
    stream.text += jsonString(message, "text").value_or("");
    stream.textEnded = jsonBool(message, "text_end").value_or(false);
    if (stream.text.size() > textLimit) {
        stream.cancelled = true;
        sendError(stream.id, 400, "Text is too long.");
    }
    stream.changed.notify();
}

asio::awaitable<void> TtsConversation::runStream(std::shared_ptr<Stream> stream)
{
    bool good = true;
    while (good && !stream->cancelled && !m_peer->closed()) {
        // Whole sentences are spoken as they come, the rest when the text has ended.
        auto const ready = stream->textEnded ? stream->text.size() : sentencesEnd(stream->text);
        if (ready > 0) {
            auto text = stream->text.substr(0, ready);
            stream->text.erase(0, ready);
            good = co_await speak(stream, std::move(text));
        } else if (stream->textEnded) {
            break;
        } else {
            co_await stream->changed.wait();
        }
    }
    if (good && !stream->cancelled)
        m_peer->send(Json{{"stream_id", stream->id}, {"audio_end", true}});
    m_peer->send(Json{{"stream_id", stream->id}, {"terminated", true}});
    m_streams.erase(stream->id);
    m_peer->wake();
}

asio::awaitable<bool> TtsConversation::speak(std::shared_ptr<Stream> stream, std::string text)
{
    if (trimWhitespace(text).empty())
        co_return true;
    if (!isUtf8(text)) {
        sendError(stream->id, 400, "\"text\" must be UTF-8.");
        co_return false;
    }
    auto speech = stream->speech;
    speech.text = std::move(text);
    // Named first: a capturing lambda inside the awaiting expression is not safe with every compiler.
    Voices::Take const take
        = [this, stream](std::vector<std::int16_t> block) { return sendBlock(stream, std::move(block)); };
    auto const error = co_await m_provider.voices.speak(std::move(speech), take);
    if (error) {
        Log::write("[service] speech: {}", error->message);
        sendError(stream->id, 500, "Speech could not be made: " + error->message);
        co_return false;
    }
    bool const tooLong
        = static_cast<double>(stream->samples) / stream->speech.sampleRate >= m_provider.limits.ttsAudioSeconds;
    if (tooLong)
        sendError(stream->id, 400, "The audio of a stream is too long.");
    co_return !tooLong;
}

asio::awaitable<bool> TtsConversation::sendBlock(std::shared_ptr<Stream> stream, std::vector<std::int16_t> block)
{
    if (stream->cancelled || m_peer->closed())
        co_return false;
    stream->samples += static_cast<std::int64_t>(block.size());
    m_peer->send(Json{{"stream_id", stream->id}, {"audio", encodeBase64(sampleBytes(block))}});
    co_await m_peer->room();
    co_return static_cast<double>(stream->samples) / stream->speech.sampleRate < m_provider.limits.ttsAudioSeconds;
}

void TtsConversation::sendError(std::string const& id, int code, std::string const& text)
{
    m_peer->send(Json{{"stream_id", id}, {"error_code", code}, {"error_message", text}});
}

/// For a stream that does not run; one that runs ends by itself.
void TtsConversation::failStream(std::string const& id, int code, std::string const& text)
{
    sendError(id, code, text);
    if (auto const found = m_streams.find(id); found != m_streams.end()) {
        found->second->cancelled = true;
        found->second->changed.notify();
    } else {
        m_peer->send(Json{{"stream_id", id}, {"terminated", true}});
    }
}

void TtsConversation::failSocket(int code, std::string const& text)
{
    m_peer->send(Json{{"error_code", code}, {"error_message", text}});
    m_peer->close();
}

} // namespace

asio::awaitable<void> converseTts(std::shared_ptr<Peer> peer, Provider& provider)
{
    auto const conversation = std::make_shared<TtsConversation>(std::move(peer), provider);
    co_await conversation->run();
}

} // namespace lingrelay::service
