#pragma once

#include "base/async/Task.h"
#include "speech/ClauseTrace.h"
#include "speech/SonioxTTS.h"
#include "speech/TTSPlayer.h"

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace lingrelay {

/// Turns finished clauses into one spoken stream for a player: in order, at most two synthesised at a time, with a
/// socket kept warm for the next, the stale ones dropped and the voice quickened when behind.
///
/// Lives on its scheduler: every member is called there, and every callback comes there and must not block. Held by
/// shared pointers; `shutdown` before the last is dropped, or the running tasks keep it alive until they end.
class TTSPipeline : public std::enable_shared_from_this<TTSPipeline> {
public:
    struct Job {
        int seq = 0;
        std::string text;
        std::string language; ///< may be empty
        bool dropStale = false; ///< the clause loses its worth with age
        Instant createdAt;
    };
    struct Callbacks {
        std::function<std::string()> voice;
        std::function<double()> speed;
        std::function<void(Job const&)> onStart; ///< a clause is about to be played
        /// The first sound of a clause goes to the player, and will be heard in `delay`.
        std::function<void(Job const&, Duration delay)> onSpeech;
        std::function<void(std::string const& message)> onError;
        ClauseTrace trace; ///< may be empty
    };

    TTSPipeline(Scheduler& scheduler, Network& network, std::shared_ptr<TTSPlayer> player, Callbacks callbacks);

    void enqueue(Job job);
    /// Tries to have a fresh socket ready for a clause in this language.
    void warm(std::string language);
    /// Drops everything now; what was fed to the player plays on.
    void cancelAll();
    /// The player ran dry inside a clip: later clauses buffer more before they start.
    void growLeadIn();
    /// Cancels all work for good; called once, before the owner lets go.
    void shutdown();

    /// Clauses that are not played yet. Any thread.
    std::size_t queued() const { return m_queued; }
    int inFlight() const { return m_inFlight; }
    int leadIn() const { return m_leadIn; } ///< bytes
    bool rushing() const { return m_rushing; }

private:
    struct Entry {
        Job job;
        std::vector<std::string> chunks;
        bool started = false; ///< its synthesis was begun
        bool done = false; ///< no more audio will come
        bool cancelled = false; ///< by cancelAll: nothing more of it is heard
        std::optional<std::string> failed;
        Event progress;
        Event givenUp; ///< nobody waits for its audio any more, so that its synthesis ends

        void end()
        {
            done = true;
            progress.set();
        }
        void giveUp()
        {
            end();
            givenUp.set();
        }
    };
    using EntryPtr = std::shared_ptr<Entry>;
    using SocketPtr = std::shared_ptr<SonioxTTS::WarmSocket>;
    /// One clip on its way to the player.
    struct Clip;

    double pace() const;
    static std::string languageKey(std::string const& language) { return language.empty() ? "en" : language; }
    double age(Job const& job) const;
    bool tooLate(Job const& job) const;
    void updatePace(Job const& job);
    void stamp(Job const& job, std::string_view hop) const;

    void prune(std::deque<Instant>& times) const;
    void note(std::deque<Instant>& times);

    void startGeneration(EntryPtr const& entry);
    Task<void> generate(std::shared_ptr<TTSPipeline> self, EntryPtr entry);
    Task<void> synthesise(EntryPtr entry);
    Task<void> retry(EntryPtr entry, std::string message);
    Task<SonioxTTS::Outcome> speakOn(EntryPtr entry, SocketPtr socket);
    void finish(EntryPtr const& entry);

    bool fits(SonioxTTS::WarmSocket const& socket, std::string const& language) const;
    Task<Result<SocketPtr>> takeSocket(std::string language);
    Task<Result<SocketPtr>> openSocket(std::string language);
    Task<void> openWarm(std::shared_ptr<TTSPipeline> self, std::string language, int generation);
    void store(SocketPtr socket);
    bool mayWarm();

    Task<void> pump(std::shared_ptr<TTSPipeline> self);
    Task<void> play(EntryPtr entry);
    void drain(Entry& entry, Clip& clip);
    void feed(std::string pcm, Clip& clip, Job const& job);
    Task<bool> waitForProgress(EntryPtr entry, std::size_t fed);
    void removeFront(EntryPtr const& entry);

    Scheduler& m_scheduler;
    Callbacks m_callbacks;
    SonioxTTS m_tts;
    std::shared_ptr<TTSPlayer> const m_player;
    TaskGroup m_tasks;
    bool m_rushing = false;
    bool m_pumping = false;
    bool m_warmPaused = false;
    int m_inFlight = 0; ///< clauses that are being synthesised
    int m_generation = 0; ///< raised by cancelAll; warm sockets of older ones are closed when they open
    int m_leadIn = 24000; ///< bytes: 0.5 s at 24 kHz
    std::atomic<std::size_t> m_queued = 0; ///< follows m_queue
    std::deque<EntryPtr> m_queue; ///< in playing order; the first is playing or next
    std::map<std::string, SocketPtr> m_warm; ///< at most one a language
    std::set<std::string> m_opening; ///< languages for which a warm socket is on its way
    std::deque<Instant> m_openTimes; ///< of the last minute
    std::deque<Instant> m_clauseTimes; ///< of the last minute
};

} // namespace lingrelay
