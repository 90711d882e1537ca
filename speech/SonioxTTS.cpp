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

/// Closes a socket when its clause ends, also when the task is cancelled.
struct Closing {
    std::shared_ptr<WebSocket> task;
    ~Closing() { task->cancel(closeGoingAway); }
};

Task<SonioxTTS::Outcome> send(std::shared_ptr<WebSocket> task, Json object)
{
    OneShot<std::optional<Error>> sent;
    task->sendText(jsonText(object), [sent](std::optional<Error> error) { sent.set(std::move(error)); });
    co_return co_await sent.take();
}

Task<Result<WebSocket::Message>> receive(std::shared_ptr<WebSocket> task)
{
    OneShot<Result<WebSocket::Message>> arrived;
    task->receive([arrived](Result<WebSocket::Message> message) { arrived.set(std::move(message)); });
    co_return co_await arrived.take();
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
    error.message = T("Voice service: ", "Dịch vụ đọc: ") + (text ? std::string(*text) : code.printed());
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

/// No time limit of its own: the caller guards against a silent service.
Task<SonioxTTS::Outcome> receiveAudio(std::shared_ptr<WebSocket> task, SonioxTTS::OnAudio onAudio)
{
    JsonReader reader;
    for (;;) {
        auto const frame = co_await receive(task);
        if (!frame)
            co_return frame.error();
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

} // namespace

void SonioxTTS::WarmSocket::cancel() const { task->cancel(closeGoingAway); }

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
    auto const socket = std::make_shared<WarmSocket>();
    socket->task = m_network.connect(std::move(request), scheduler);
    socket->streamID = newUuid();
    socket->language = language;
    socket->voice = voice;
    socket->speed = speed;
    auto const error = co_await send(socket->task, configuration(*socket, key));
    if (error)
        co_return *error;
    socket->openedAt = scheduler.now();
    co_return socket;
}

Task<SonioxTTS::Outcome> SonioxTTS::speak(std::string text, std::shared_ptr<WarmSocket> socket, OnAudio onAudio)
{
    socket->used = true;
    Closing const closing{socket->task};
    auto const trimmed = std::string(trimWhitespace(text));
    if (trimmed.empty())
        co_return std::nullopt;
    Json const message{{"text", trimmed}, {"text_end", true}, {"stream_id", socket->streamID}};
    auto const error = co_await send(socket->task, message);
    if (error)
        co_return error;
    co_return co_await receiveAudio(socket->task, std::move(onAudio));
}

Task<SonioxTTS::Outcome> SonioxTTS::stream(
    std::string text, std::string language, std::string voice, double speed, OnAudio onAudio)
{
    if (trimWhitespace(text).empty())
        co_return std::nullopt;
    auto const socket = co_await open(std::move(language), std::move(voice), speed);
    if (!socket)
        co_return socket.error();
    co_return co_await speak(std::move(text), *socket, std::move(onAudio));
}

} // namespace lingrelay
