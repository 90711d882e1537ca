#pragma once

#include "base/AtomicShared.h"
#include "base/Signal.h"
#include "config/AppSettings.h"
#include "model/CaptionKind.h"
#include "model/ContextProfile.h"
#include "speech/ClauseTrace.h"
#include "speech/SonioxStream.h"
#include "speech/TTSPipeline.h"
#include "speech/TTSPlayer.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lingrelay {

/// One translation direction: a recogniser stream, and behind it a clause pipeline and a player, joined by `deliver`.
///
/// `start` and `stop` are called on one thread (main). Streams, their timers and all text callbacks live on the stream
/// scheduler, the pipeline on its own; both outlive the engine. The player and the pipeline outlive streams: a restart
/// leaves queued speech playing. Made by `create`; callbacks are set before the first `start`.
class Engine : public std::enable_shared_from_this<Engine> {
public:
    /// What an engine stands on.
    struct Services {
        Network& network;
        Scheduler& streamScheduler;
        Scheduler& pipelineScheduler;
        Scheduler& background; ///< player reports
        AudioOutputs& outputs;
    };

    static std::shared_ptr<Engine> create(Services services);
    ~Engine();

    std::string tag; ///< "listen" or "speak"; set once, before the first start
    bool useRollingContext = true; ///< for the next stream; main
    std::optional<ContextProfile> contextProfile; ///< for the next stream; main
    /// False keeps every clause of the listen direction however late it is: for a recording that nobody waits for.
    bool dropsStaleSpeech = true; ///< set once, before the first start
    /// Captions and lines only, whatever the settings say; set once, before the first start.
    bool voiceless = false;

    enum class Status { ready, reconnecting, error };

    /// An original or a translation, unfinished or finished; on the stream scheduler.
    Signal<CaptionKind, std::string const&> onCaption;
    /// One finished transcript line: source, translation, speaker; on the stream scheduler.
    Signal<std::string const&, std::string const&, std::string const&> onLine;
    /// With an error comes what went wrong; on the stream scheduler, the pipeline's, or the caller's of `start`.
    Signal<Status, std::optional<std::string> const&> onStatus;
    /// The first sound of a clause was handed to the player and will be heard in `delay`; on the pipeline scheduler.
    std::function<void(TTSPipeline::Job const& job, Duration delay)> onSpeech;
    /// What the provider says of its progress; on the stream scheduler.
    std::function<void(SonioxStream::Progress const& progress)> onProgress;
    /// After `finishAudio`: the provider has given all its answers, or will give none; on the stream scheduler.
    std::function<void()> onFinished;
    /// The recogniser failed for good (ninth failure in a row), after its "error" status; on the stream scheduler.
    std::function<void()> onFailed;
    /// Stamps of every clause; set when tracing is on. Any thread.
    ClauseTrace onTrace;
    /// Types a finished clause into the focused field; until it is set, typed clauses are captions and lines only.
    std::function<void(std::string const& text)> typeText;

    /// Begins or restarts the direction with this direction's record (languages and rate already in it).
    void start(AppSettings settings);
    /// Ends the stream and drops queued speech; settings and counters stay.
    void stop();

    /// 16-bit mono PCM at the record's rate, any thread. Never blocks, never buffers: without a live socket the bytes
    /// are dropped. `sent` is called (on the stream scheduler) once the block was handed to the operating system.
    void sendAudio(std::string pcm, std::function<void()> sent = {});

    /// No more audio will come: asks the provider for its remaining answers. Any thread.
    void finishAudio();

    /// The live stream, or null; any thread. For feeders that wait for the socket.
    std::shared_ptr<SonioxStream> stream() const { return m_stt.load(); }

    /// The record in use; replaced without a restart by `applySettings`. Any thread.
    std::shared_ptr<AppSettings const> settings() const { return m_settings.load(); }
    void applySettings(AppSettings settings);

    TTSPlayer& player() { return *m_player; }
    /// True when no clause is queued, being synthesised or waiting to be heard. Any thread.
    bool speechFinished() const;

    std::string lastSpokenText() const;
    std::string lastSpokenLanguage() const;

private:
    explicit Engine(Services services);
    std::shared_ptr<TTSPipeline> pipeline();
    TTSPipeline::Callbacks pipelineCallbacks();
    void onPipeline(std::function<void(TTSPipeline&)> operation);
    std::shared_ptr<SonioxStream> makeStream(AppSettings const& settings);
    void wireStream(SonioxStream& stream);
    void deliver(std::string const& text, int seq, int run);
    void speak(TTSPipeline::Job job, int run);
    void warm(std::string language);
    void clauseStarts(TTSPipeline::Job const& job);
    std::string clauseLanguage() const;
    void sayOfStream(Status status, std::optional<std::string> const& message = {});
    void voiceSpoke();
    bool speaks() const { return tag == "speak"; }
    void trace(int seq, std::string_view hop) const;
    int nextSeq();
    bool claimIfFresh(int seq);
    void resetSeq();

    Services m_services;
    AtomicShared<SonioxStream> m_stt;
    std::shared_ptr<TTSPlayer> m_player;
    AtomicShared<AppSettings const> m_settings;
    mutable std::mutex m_mutex; ///< the fields down to the blank line
    std::shared_ptr<TTSPipeline> m_pipeline;
    int m_finalSeq = 0;
    int m_lastDoneSeq = 0;
    std::string m_lastSpokenText;
    std::string m_lastSpokenLanguage;

    std::atomic<int> m_run = 0; ///< counts the stops
    std::atomic<int> m_handedOver = 0; ///< clauses on their way to the pipeline
    std::atomic<Status> m_streamStatus = Status::ready; ///< the last that the recogniser's stream had told
    bool m_voiceFailed = false; ///< and nothing was spoken since; pipeline scheduler
    std::string m_lastSource; ///< stream scheduler
    std::string m_lastSourceForPolish; ///< stream scheduler
};

} // namespace lingrelay
