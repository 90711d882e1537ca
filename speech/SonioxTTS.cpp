#include "speech/SonioxTTS.h"

#include "base/Base64.h"
#include "base/Json.h"
#include "base/JsonView.h"
#include "base/Text.h"
#include "base/Uuid.h"
#include "base/async/OneShot.h"
#include "config/Hosts.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "speech/HostedSession.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr int closeGoingAway = 1001;
constexpr Duration answerLimit = seconds(15.0);

/// Closes a socket when its clause ends, also when the task is cancelled.
struct Closing {
    std::shared_ptr<WebSocket> socket;
    ~Closing() { socket->cancel(closeGoingAway); }
};

Task<SonioxTTS::Outcome> send(std::shared_ptr<WebSocket> socket, Json object)
{
    OneShot<std::optional<Error>> sent;
    socket->sendText(jsonText(object), [sent](std::optional<Error> error) { sent.set(std::move(error)); });
    co_return co_await sent.take();
}

/// The next message, or the error `late` when none comes within `limit`; without one it waits as long as the socket
/// lives.
Task<Result<WebSocket::Message>> receive(std::shared_ptr<WebSocket> socket, std::optional<Duration> limit, Error late)
{
    OneShot<Result<WebSocket::Message>> arrived;
    socket->receive([arrived](Result<WebSocket::Message> message) { arrived.set(std::move(message)); });
    if (!limit)
        co_return co_await arrived.take();
    auto message = co_await withTimeout(*limit, arrived.take());
    if (message)
        co_return std::move(*message);
    co_return late;
}

Json configuration(SonioxTTS::WarmSocket const& socket, std::string const& key)
{
    return {{"api_key", key}, {"model", "tts-rt-v2"}, {"language", socket.language}, {"voice", socket.voice},
        {"audio_format", "pcm_s16le"}, {"sample_rate", 24000}, {"speed", std::clamp(socket.speed, 0.7, 1.3)},
        {"stream_id", socket.streamID}};
}

/// The service's own wording is kept: the pipeline looks for "concurrent" in it.
Error serviceError(JsonView const& message, JsonView const& code)
{
    Error error;
    auto const text = message.string("error_message");
    error.message = T("Voice service: ", "Dịch vụ đọc: ")
        + withoutControls(text ? std::string(*text) : code.printed(), Breaks::blanks);
    error.code = static_cast<int>(code.integer().value_or(-1));
    return error;
}

enum class Next { more, end };

Result<Next> handle(JsonView const& message, SonioxTTS::OnAudio const& onAudio)
{
    if (auto const code = message.member("error_code"))
        return serviceError(message, *code);
    if (auto const audio = message.string("audio")) {
        auto block = decodeBase64(*audio);
        if (block && !block->empty())
            onAudio(std::move(*block));
    }
    bool const ended = message.boolean("audio_end").value_or(false) || message.boolean("terminated").value_or(false);
    return ended ? Next::end : Next::more;
}

/// `silence` is the longest time between two messages; the first one has a limit of its own in any case.
Task<SonioxTTS::Outcome> receiveAudio(
    std::shared_ptr<WebSocket> socket, SonioxTTS::OnAudio onAudio, std::optional<Duration> silence)
{
    JsonReader reader;
    std::optional<Duration> limit = answerLimit;
    Error late{Error::Kind::timedOut, T("The voice service does not answer.", "Dịch vụ đọc không trả lời.")};
    for (;;) {
        auto const frame = co_await receive(socket, limit, late);
        if (!frame)
            co_return frame.error();
        limit = silence;
        late.message = "synthesis stalled";
        auto const message = reader.read(frame->data);
        if (!message || !message->isObject())
            continue;
        auto const next = handle(*message, onAudio);
        if (!next)
            co_return next.error();
        if (*next == Next::end)
            co_return std::nullopt;
    }
}

/// Speaks the text on the socket and closes it, whatever the outcome.
Task<SonioxTTS::Outcome> speakOn(std::shared_ptr<SonioxTTS::WarmSocket> warm, std::string text,
    SonioxTTS::OnAudio onAudio, std::optional<Duration> silence)
{
    warm->used = true;
    Closing const closing{warm->socket};
    auto const trimmed = std::string(trimWhitespace(text));
    if (trimmed.empty())
        co_return std::nullopt;
    Json const message{{"text", trimmed}, {"text_end", true}, {"stream_id", warm->streamID}};
    auto const error = co_await send(warm->socket, message);
    if (error)
        co_return error;
    co_return co_await receiveAudio(warm->socket, std::move(onAudio), silence);
}

} // namespace

void SonioxTTS::WarmSocket::cancel() const { socket->cancel(closeGoingAway); }

Task<Result<std::shared_ptr<SonioxTTS::WarmSocket>>> SonioxTTS::open(
    std::string language, std::string voice, double speed)
{
    auto& scheduler = (co_await CurrentScope{}).scheduler();
    auto const key = Secrets::byokActive() ? Secrets::key() : HostedSession::shared().ttsKey();
    WebSocketRequest request;
    request.url = Hosts::shared().ttsUrl();
    request.bearer = key;
    request.connectTimeout = seconds(15.0);
    request.lifetime = seconds(300.0);
    auto const warm = std::make_shared<WarmSocket>();
    warm->socket = m_network.connect(std::move(request), scheduler);
    warm->streamID = newUuid();
    warm->language = language;
    warm->voice = voice;
    warm->speed = speed;
    auto const error = co_await send(warm->socket, configuration(*warm, key));
    if (error)
        co_return *error;
    warm->openedAt = scheduler.now();
    co_return warm;
}

Task<SonioxTTS::Outcome> SonioxTTS::speak(std::string text, std::shared_ptr<WarmSocket> warm, OnAudio onAudio)
{
    return speakOn(std::move(warm), std::move(text), std::move(onAudio), {});
}

Task<SonioxTTS::Outcome> SonioxTTS::stream(
    std::string text, std::string language, std::string voice, double speed, OnAudio onAudio)
{
    if (trimWhitespace(text).empty())
        co_return std::nullopt;
    auto const warm = co_await open(std::move(language), std::move(voice), speed);
    if (!warm)
        co_return warm.error();
    co_return co_await speakOn(*warm, std::move(text), std::move(onAudio), silenceLimit);
}

} // namespace lingrelay
