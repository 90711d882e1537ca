#pragma once

#include "base/AtomicShared.h"
#include "base/Json.h"
#include "base/JsonView.h"
#include "base/Text.h"
#include "model/ContextProfile.h"
#include "platform/Network.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace lingrelay {

/// One conversation with the provider's realtime recognition and translation: PCM in, two text streams out, each as a
/// running preview and as finished clauses. Reconnects by itself, keeping what was finished; never reused after `stop`.
///
/// Socket work, timers and callbacks live on its scheduler; `connect`, `send`, `finish` and `stop` may be called from
/// any thread. Callbacks and options are set before `connect`. Held by shared pointers; a released stream goes silent.
class SonioxStream : public std::enable_shared_from_this<SonioxStream> {
public:
    /// What the provider says beside the text; read by those who feed files.
    struct Progress {
        std::optional<std::int64_t> finalAudioMs; ///< audio of this connection that is recognised for good
        std::optional<std::int64_t> totalAudioMs; ///< audio of this connection that has been looked at
        bool finished = false;
    };

    static std::shared_ptr<SonioxStream> create(Network& network, Scheduler& scheduler, std::string sourceLang,
        std::string targetLang, std::int64_t sampleRate);
    ~SonioxStream();

    std::optional<ContextProfile> contextProfile;
    bool useRollingTranscript = true;
    bool twoWay = false;
    bool diarization = false;
    bool endpointDetection = true;
    double endpointSensitivity = 0;
    std::int64_t latencyAdjustment = 0;

    std::function<void(std::string const& text, bool isFinal)> onOriginal;
    std::function<void(std::string const& text, bool isFinal)> onTranslation;
    std::function<void(std::string const& message)> onError;
    std::function<void()> onReconnecting;
    std::function<void()> onReconnected;
    std::function<void(Progress const&)> onProgress;
    /// The ninth failure in a row: no further attempt is made. After `onError`.
    std::function<void()> onDead;
    /// Once after `finish`: the provider has given all its answers, or will give none.
    std::function<void()> onFinished;

    /// Opens a socket and sends the configuration.
    void connect();
    /// One block of 16-bit mono PCM. Never blocks or fails: without a live socket the block is lost. While the socket
    /// connects, or is not read, at most 2 seconds wait and the oldest go first. `sent` is called on the scheduler once
    /// the block was handed on or went for its age, and not at all when there was no socket to take it.
    void send(std::string pcm, std::function<void()> sent = {});
    /// No more audio will come: asks for the remaining answers and ends without reconnecting.
    void finish();
    /// Ends all activity; text that is not yet a clause is dropped.
    void stop();

    /// True while audio is taken without loss: the socket has been answered.
    bool open() const;
    bool stopped() const { return m_stopped; }
    /// Bytes of audio that wait for the socket.
    std::size_t queuedBytes() const;
    /// Counts the sockets opened so far; tells a feeder that a new one is in use.
    int connections() const { return m_connections; }

    std::string lastSpeaker() const;
    std::string lastTranslationLanguage() const;
    std::string rollingTranscript() const;

    /// Folds one message of the provider; on the scheduler. Public for tests and measurements.
    void handle(std::string_view frame);

private:
    struct Folded;

    SonioxStream(Network& network, Scheduler& scheduler, std::string sourceLang, std::string targetLang,
        std::int64_t sampleRate);

    void connectNow();
    void sendConfig(WebSocket& socket, int connection, std::string const& key);
    Json configuration(std::string const& key) const;
    std::optional<Json> contextPayload() const;
    void armReceive(std::shared_ptr<WebSocket> const& socket, int connection);
    void startKeepAlive();
    void fail(int connection, std::string const& message);
    void foldTokens(std::vector<JsonView> const& tokens);
    void fold(std::vector<JsonView> const& tokens, Folded& folded);
    void flushOriginal();
    void flushTranslation();
    void scheduleIdleFlush();
    void finishNow();
    void watchFinish();
    void finished();
    void stopTimer(Scheduler::TimerId& timer);
    void stopTimers();

    Network& m_network;
    Scheduler& m_scheduler;
    std::string const m_sourceLang;
    std::string const m_targetLang;
    std::int64_t const m_sampleRate;

    AtomicShared<WebSocket> m_socket;
    std::atomic<bool> m_stopped = false;
    std::atomic<int> m_connections = 0;

    Scheduler::TimerId m_keepAlive = 0; ///< timers and the fields down to the blank line: the scheduler only
    Scheduler::TimerId m_idleTimer = 0;
    Scheduler::TimerId m_finishTimer = 0;
    Scheduler::TimerId m_reconnectTimer = 0;
    int m_reconnects = 0; ///< consecutive failures since the last good message
    int m_failedConnection = 0; ///< the last one that failed
    bool m_finishing = false;
    JsonReader m_reader;

    mutable std::mutex m_bufLock; ///< held for one message's folding; guards all below
    CharacterText m_finalOriginal;
    CharacterText m_finalTranslation;
    CharacterText m_rollingTranscript;
    std::string m_lastSpeaker;
    std::string m_lastTranslationLanguage;
};

} // namespace lingrelay
