#include "speech/SonioxStream.h"

#include "base/Log.h"
#include "base/async/Lifetime.h"
#include "config/Hosts.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "speech/HostedSession.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr Duration keepAliveInterval = seconds(5.0);
constexpr Duration idleFlushDelay = seconds(0.9);
constexpr int attempts = 8;
constexpr std::size_t rollingLimit = 12000;
constexpr std::size_t punctuatedClause = 23; ///< a clause may end at a comma beyond this many characters
constexpr std::size_t longestClause = 89;
constexpr int closeGoingAway = 1001;
/// Two unanswered pings: the connection is dead although nobody closed it. All that is said meanwhile is lost.
constexpr Duration deadAfter = seconds(12.0);
/// A busy service may take its time over the last words; one that is dead is known by then.
constexpr Duration finishQuiet = deadAfter;
constexpr std::int64_t waitingSeconds = 2;

bool isOneOf(std::string_view character, std::initializer_list<std::string_view> marks)
{
    return std::find(marks.begin(), marks.end(), character) != marks.end();
}

/// Decides whether the buffer is a finished clause.
bool isClause(CharacterText const& buffer)
{
    auto const last = buffer.lastTrimmedCharacter();
    if (last.empty())
        return false;
    if (isOneOf(last, {".", "!", "?", "。", "！", "？", "…"}))
        return true;
    auto const count = buffer.trimmedCount();
    if (count > punctuatedClause && isOneOf(last, {",", ";", ":", "،", "、", "；", "："}))
        return true;
    return count > longestClause;
}

/// Markers such as "<end>" tell about the speech and are no text.
bool isMarker(std::string_view text)
{
    auto const trimmed = trimBlanks(text);
    return trimmed.size() >= 3 && trimmed.front() == '<' && trimmed.back() == '>';
}

std::string textOf(JsonView const& object, std::string_view key)
{
    return withoutControls(object.string(key).value_or(std::string_view()), Breaks::blanks);
}

Duration reconnectDelay(int failures) { return seconds(std::min(failures * 0.4, 2.5)); }

} // namespace

/// What folding one message found.
struct SonioxStream::Folded {
    std::string nonFinalOriginal;
    std::string nonFinalTranslation;
    bool flushOriginal = false;
    bool flushTranslation = false;
};

std::shared_ptr<SonioxStream> SonioxStream::create(
    Network& network, Scheduler& scheduler, std::string sourceLang, std::string targetLang, std::int64_t sampleRate)
{
    return std::shared_ptr<SonioxStream>(
        new SonioxStream(network, scheduler, std::move(sourceLang), std::move(targetLang), sampleRate));
}

SonioxStream::SonioxStream(
    Network& network, Scheduler& scheduler, std::string sourceLang, std::string targetLang, std::int64_t sampleRate)
    : m_network(network)
    , m_scheduler(scheduler)
    , m_sourceLang(std::move(sourceLang))
    , m_targetLang(std::move(targetLang))
    , m_sampleRate(sampleRate)
{
}

SonioxStream::~SonioxStream() = default;

void SonioxStream::connect()
{
    m_scheduler.post(whileAlive(weak_from_this(), [](SonioxStream& self) { self.connectNow(); }));
}

void SonioxStream::connectNow()
{
    if (m_stopped)
        return;
    auto const key = Secrets::byokActive() ? Secrets::key() : HostedSession::shared().sttKey();
    WebSocketRequest request;
    request.url = Hosts::shared().sttUrl();
    request.bearer = key;
    request.connectTimeout = request.idleTimeout = deadAfter;
    request.maxQueuedBytes = static_cast<std::size_t>(m_sampleRate * 2 * waitingSeconds);
    request.onDropped = [](std::size_t bytes) { Log::write("[stt] provider is not reading: {} bytes dropped", bytes); };
    auto const socket = m_network.connect(std::move(request), m_scheduler);
    auto const connection = ++m_connections;
    armReceive(socket, connection);
    sendConfig(*socket, connection, key);
    m_socket.store(socket); // last: from here on audio follows the configuration
    startKeepAlive();
    if (m_stopped) { // by another thread since the test above
        socket->cancel(closeGoingAway);
        m_socket.store(nullptr);
        stopTimers();
    }
}

Json SonioxStream::configuration(std::string const& key) const
{
    Json config{{"api_key", key}, {"model", "stt-rt-v5"}, {"audio_format", "pcm_s16le"}, {"sample_rate", m_sampleRate},
        {"num_channels", 1}, {"enable_endpoint_detection", endpointDetection}};
    if (twoWay)
        config["translation"] = {{"type", "two_way"}, {"language_a", m_sourceLang}, {"language_b", m_targetLang}};
    else
        config["translation"] = {{"type", "one_way"}, {"target_language", m_targetLang}};
    if (endpointDetection && endpointSensitivity != 0)
        config["endpoint_sensitivity"] = std::clamp(endpointSensitivity, -1.0, 1.0);
    if (latencyAdjustment >= 1)
        config["endpoint_latency_adjustment"] = latencyAdjustment;
    if (diarization)
        config["enable_speaker_diarization"] = true;
    auto hints = Json::array();
    if (!m_sourceLang.empty() && m_sourceLang != "auto")
        hints.push_back(m_sourceLang);
    if (!m_targetLang.empty())
        hints.push_back(m_targetLang);
    if (!hints.empty())
        config["language_hints"] = std::move(hints);
    if (auto context = contextPayload())
        config["context"] = std::move(*context);
    return config;
}

std::optional<Json> SonioxStream::contextPayload() const
{
    if (!contextProfile)
        return {};
    return contextProfile->payload(useRollingTranscript ? rollingTranscript() : std::string());
}

void SonioxStream::sendConfig(WebSocket& socket, int connection, std::string const& key)
{
    auto const config = configuration(key);
    if (auto const* context = jsonMember(config, "context"))
        Log::write("[ctx] sent to Soniox with config ({} chars)", characterCount(jsonText(*context)));
    socket.sendText(jsonText(config),
        whileAlive(weak_from_this(), [connection](SonioxStream& self, std::optional<Error> const& error) {
            if (error)
                self.fail(connection, "soniox config: " + error->message);
        }));
}

void SonioxStream::send(std::string pcm, std::function<void()> sent)
{
    int const connection = m_connections; // read first: an older one than the socket's is ignored, not blamed
    auto const socket = m_stopped ? nullptr : m_socket.load();
    if (!socket || socket->state() == WebSocket::State::closed)
        return;
    auto done = [weak = weak_from_this(), connection, sent = std::move(sent)](std::optional<Error> error) {
        if (!error && sent)
            sent();
        auto const self = weak.lock();
        if (self && error)
            self->fail(connection, "soniox send: " + error->message);
    };
    socket->sendBinary(std::move(pcm), std::move(done));
}

void SonioxStream::finish()
{
    m_scheduler.post(whileAlive(weak_from_this(), [](SonioxStream& self) { self.finishNow(); }));
}

void SonioxStream::finishNow()
{
    if (m_stopped || m_finishing)
        return;
    m_finishing = true;
    auto const socket = m_socket.load();
    if (!socket || socket->state() == WebSocket::State::closed)
        return finished();
    socket->sendText("", {});
    watchFinish();
}

void SonioxStream::watchFinish()
{
    stopTimer(m_finishTimer);
    m_finishTimer = m_scheduler.startTimer(
        m_scheduler.now() + finishQuiet, whileAlive(weak_from_this(), [](SonioxStream& self) { self.finished(); }));
}

void SonioxStream::finished()
{
    if (m_stopped || !m_finishing)
        return;
    stopTimers();
    flushOriginal();
    flushTranslation();
    if (auto const socket = m_socket.exchange(nullptr))
        socket->cancel(closeGoingAway);
    if (auto const done = std::exchange(onFinished, {}))
        done();
}

void SonioxStream::stop()
{
    if (m_stopped.exchange(true))
        return;
    if (auto const socket = m_socket.exchange(nullptr)) {
        socket->sendText("", {});
        socket->cancel(closeGoingAway);
    }
    {
        std::lock_guard const lock(m_bufLock);
        m_finalOriginal.clear();
        m_finalTranslation.clear();
    }
    m_scheduler.post([self = shared_from_this()] { self->stopTimers(); });
}

bool SonioxStream::open() const
{
    auto const socket = m_stopped ? nullptr : m_socket.load();
    return socket && socket->state() == WebSocket::State::open;
}

std::size_t SonioxStream::queuedBytes() const
{
    auto const socket = m_socket.load();
    return socket ? socket->queuedBytes() : 0;
}

void SonioxStream::armReceive(std::shared_ptr<WebSocket> const& socket, int connection)
{
    auto const weakSocket = std::weak_ptr(socket);
    socket->receive([weak = weak_from_this(), weakSocket, connection](Result<WebSocket::Message> message) {
        auto const self = weak.lock();
        if (!self || self->m_stopped || connection != self->m_connections)
            return;
        if (!message)
            return self->fail(connection, message.error().message);
        self->handle(message->data);
        if (auto const current = weakSocket.lock(); current && current == self->m_socket.load())
            self->armReceive(current, connection);
    });
}

void SonioxStream::startKeepAlive()
{
    stopTimer(m_keepAlive);
    m_keepAlive = m_scheduler.startTimer(
        m_scheduler.now() + keepAliveInterval, whileAlive(weak_from_this(), [](SonioxStream& self) {
            if (self.m_stopped)
                return;
            if (auto const socket = self.m_socket.load())
                socket->ping();
            self.startKeepAlive();
        }));
}

/// A dead connection may be told of by several sends; it counts once.
void SonioxStream::fail(int connection, std::string const& message)
{
    if (m_stopped || connection != m_connections || connection == m_failedConnection)
        return;
    m_failedConnection = connection;
    if (m_finishing)
        return finished();
    stopTimer(m_keepAlive);
    ++m_reconnects;
    if (m_reconnects > attempts) {
        if (onError)
            onError(message);
        if (onDead)
            onDead();
        return;
    }
    if (onReconnecting)
        onReconnecting();
    stopTimer(m_reconnectTimer);
    m_reconnectTimer = m_scheduler.startTimer(m_scheduler.now() + reconnectDelay(m_reconnects),
        whileAlive(weak_from_this(), [](SonioxStream& self) { self.connectNow(); }));
}

void SonioxStream::handle(std::string_view frame)
{
    auto const message = m_reader.read(frame);
    if (!message || !message->isObject())
        return;
    if (m_finishing)
        watchFinish();
    if (auto const code = message->member("error_code")) {
        if (onError)
            onError(T("Speech service: ", "Dịch vụ giọng nói: ") + code->printed() + " "
                + textOf(*message, "error_message"));
        return;
    }
    if (m_reconnects >= 1) {
        m_reconnects = 0;
        if (onReconnected)
            onReconnected();
    }
    bool const last = message->boolean("finished").value_or(false);
    if (onProgress)
        onProgress({message->integer("final_audio_proc_ms"), message->integer("total_audio_proc_ms"), last});
    auto const member = message->member("tokens");
    auto const tokens = member ? member->items() : std::nullopt;
    if (tokens && std::all_of(tokens->begin(), tokens->end(), [](auto const& token) { return token.isObject(); }))
        foldTokens(*tokens);
    if (m_finishing && last)
        finished();
}

void SonioxStream::foldTokens(std::vector<JsonView> const& tokens)
{
    Folded folded;
    std::string originalPreview;
    std::string translationPreview;
    {
        std::lock_guard const lock(m_bufLock);
        fold(tokens, folded);
        originalPreview = trimBlanks(std::string(m_finalOriginal.text()) + folded.nonFinalOriginal);
        translationPreview = trimBlanks(std::string(m_finalTranslation.text()) + folded.nonFinalTranslation);
    }
    if (!originalPreview.empty() && onOriginal && !m_stopped)
        onOriginal(originalPreview, false);
    if (!translationPreview.empty() && onTranslation && !m_stopped)
        onTranslation(translationPreview, false);
    if (folded.flushOriginal)
        flushOriginal();
    if (folded.flushTranslation)
        flushTranslation();
    scheduleIdleFlush();
}

void SonioxStream::fold(std::vector<JsonView> const& tokens, Folded& folded)
{
    for (auto const& token : tokens) {
        auto const text = textOf(token, "text");
        bool const isFinal = token.boolean("is_final").value_or(false);
        if (isMarker(text)) {
            if (isFinal) {
                folded.flushTranslation |= m_finalTranslation.trimmedCount() > 0;
                folded.flushOriginal |= m_finalOriginal.trimmedCount() > 0;
            }
            continue;
        }
        bool const translated = textOf(token, "translation_status") == "translation";
        if (!isFinal) {
            (translated ? folded.nonFinalTranslation : folded.nonFinalOriginal) += text;
            continue;
        }
        auto& buffer = translated ? m_finalTranslation : m_finalOriginal;
        buffer.append(text);
        if (translated) {
            if (auto language = textOf(token, "language"); !language.empty())
                m_lastTranslationLanguage = std::move(language);
        } else if (auto const speaker = token.member("speaker"); speaker && (speaker->string() || speaker->integer())) {
            if (auto label = withoutControls(speaker->printed(), Breaks::blanks); !label.empty())
                m_lastSpeaker = std::move(label);
        }
        if (isClause(buffer))
            (translated ? folded.flushTranslation : folded.flushOriginal) = true;
    }
}

void SonioxStream::flushOriginal()
{
    std::string text;
    {
        std::lock_guard const lock(m_bufLock);
        text = trimBlanks(m_finalOriginal.text());
        m_finalOriginal.clear();
        if (text.empty())
            return;
        m_rollingTranscript.append(text);
        m_rollingTranscript.append(" ");
        m_rollingTranscript.keepLast(rollingLimit);
    }
    if (onOriginal && !m_stopped)
        onOriginal(text, true);
}

void SonioxStream::flushTranslation()
{
    std::string text;
    {
        std::lock_guard const lock(m_bufLock);
        text = trimBlanks(m_finalTranslation.text());
        m_finalTranslation.clear();
    }
    if (!text.empty() && onTranslation && !m_stopped)
        onTranslation(text, true);
}

void SonioxStream::scheduleIdleFlush()
{
    stopTimer(m_idleTimer);
    if (m_stopped)
        return;
    // Only the translation: it feeds the voice. The original waits for its own end.
    m_idleTimer = m_scheduler.startTimer(
        m_scheduler.now() + idleFlushDelay, whileAlive(weak_from_this(), [](SonioxStream& self) {
            if (!self.m_stopped)
                self.flushTranslation();
        }));
}

void SonioxStream::stopTimer(Scheduler::TimerId& timer) { m_scheduler.stopTimer(std::exchange(timer, 0)); }

void SonioxStream::stopTimers()
{
    stopTimer(m_keepAlive);
    stopTimer(m_idleTimer);
    stopTimer(m_finishTimer);
    stopTimer(m_reconnectTimer);
}

std::string SonioxStream::lastSpeaker() const
{
    std::lock_guard const lock(m_bufLock);
    return m_lastSpeaker;
}

std::string SonioxStream::lastTranslationLanguage() const
{
    std::lock_guard const lock(m_bufLock);
    return m_lastTranslationLanguage;
}

std::string SonioxStream::rollingTranscript() const
{
    std::lock_guard const lock(m_bufLock);
    return std::string(m_rollingTranscript.text());
}

} // namespace lingrelay
