#include "speech/TTSPipeline.h"

#include "base/Log.h"
#include "speech/HostedSession.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace lingrelay {

namespace {

constexpr double staleAfter = 6.0; ///< seconds
constexpr double rushAbove = 2.5;
constexpr double calmBelow = 1.0;
constexpr double rushExtra = 0.15;
constexpr double fastest = 1.3;
constexpr Duration warmLife = seconds(4.5);
constexpr double samePace = 0.001;
constexpr double synthesisRate = 24000;
constexpr Duration window = seconds(60.0);
constexpr std::size_t backlogWarning = 9;
constexpr int leadInStep = 12000; ///< bytes: 0.25 s
constexpr int longestLeadIn = 57600; ///< bytes: 1.2 s

bool saysConcurrent(std::string message)
{
    std::transform(message.begin(), message.end(), message.begin(), [](unsigned char c) { return std::tolower(c); });
    return message.find("concurrent") != std::string::npos;
}

bool isSmallBudget(std::int64_t concurrent) { return concurrent == 1 || concurrent == 2; }

} // namespace

struct TTSPipeline::Clip {
    std::string pending;
    std::string odd; ///< half a sample: block borders carry no meaning
    std::size_t fed = 0; ///< chunks used so far
    bool playing = false;
    bool begun = false; ///< its first sound has gone to the player
};

TTSPipeline::TTSPipeline(Scheduler& scheduler, Network& network, std::shared_ptr<TTSPlayer> player, Callbacks callbacks)
    : m_scheduler(scheduler)
    , m_callbacks(std::move(callbacks))
    , m_tts(network)
    , m_player(std::move(player))
    , m_tasks(scheduler)
{
}

double TTSPipeline::pace() const
{
    auto const speed = m_callbacks.speed();
    return m_rushing ? std::min(speed + rushExtra, fastest) : speed;
}

double TTSPipeline::age(Job const& job) const { return toSeconds(m_scheduler.now() - job.createdAt); }

void TTSPipeline::stamp(Job const& job, std::string_view hop) const
{
    if (m_callbacks.trace)
        m_callbacks.trace(job.seq, hop);
}

void TTSPipeline::enqueue(Job job)
{
    note(m_clauseTimes);
    auto const entry = std::make_shared<Entry>();
    entry->job = std::move(job);
    stamp(entry->job, "enqueued");
    m_queue.push_back(entry);
    m_queued = m_queue.size();
    if (m_queue.size() >= backlogWarning)
        Log::write("[tts] WARNING queue backing up: {}", m_queue.size());
    startGeneration(entry);
    if (!std::exchange(m_pumping, true))
        m_tasks.spawn(pump(shared_from_this()));
}

void TTSPipeline::prune(std::deque<Instant>& times) const
{
    while (!times.empty() && m_scheduler.now() - times.front() > window)
        times.pop_front();
}

void TTSPipeline::note(std::deque<Instant>& times)
{
    times.push_back(m_scheduler.now());
    prune(times);
}

void TTSPipeline::startGeneration(EntryPtr const& entry)
{
    int const limit = isSmallBudget(HostedSession::shared().budget().ttsConcurrent) ? 1 : 2;
    if (m_inFlight >= limit)
        return;
    entry->started = true;
    ++m_inFlight;
    m_tasks.spawn(generate(shared_from_this(), entry));
}

/// Ends with the clause's audio, or at once when the clause is given up.
Task<void> TTSPipeline::generate([[maybe_unused]] std::shared_ptr<TTSPipeline> self, EntryPtr entry)
{
    if (!entry->done && !tooLate(entry->job)) {
        updatePace(entry->job);
        co_await race(synthesise(entry), waitFor(entry->givenUp));
    }
    finish(entry);
}

Task<void> TTSPipeline::synthesise(EntryPtr entry)
{
    auto const socket = co_await takeSocket(languageKey(entry->job.language));
    std::string message;
    if (socket) {
        auto const error = co_await speakOn(entry, *socket);
        if (!error)
            co_return;
        message = error->message;
    } else {
        message = socket.error().message;
    }
    if (saysConcurrent(message)) {
        co_await retry(entry, message);
        co_return;
    }
    Log::write("[tts] ERROR {}", message);
    entry->failed = message;
}

Task<SonioxTTS::Outcome> TTSPipeline::speakOn(EntryPtr entry, SocketPtr socket)
{
    stamp(entry->job, "sent");
    SonioxTTS::OnAudio onAudio = [this, entry](std::string pcm) {
        if (entry->chunks.empty())
            stamp(entry->job, "firstAudio");
        entry->chunks.push_back(std::move(pcm));
        entry->progress.set();
    };
    co_return co_await m_tts.speak(entry->job.text, std::move(socket), std::move(onAudio));
}

/// The service refused one more stream at a time. Each attempt takes a new socket.
Task<void> TTSPipeline::retry(EntryPtr entry, std::string message)
{
    auto const& job = entry->job;
    int const attempts = job.dropStale ? 1 : 5;
    co_await sleep(seconds(0.4));
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (attempt > 0)
            co_await sleep(seconds(0.8 + 0.4 * (attempt - 1)));
        if (tooLate(job))
            co_return;
        auto const socket = co_await openSocket(languageKey(job.language));
        if (!socket)
            continue;
        auto const error = co_await speakOn(entry, *socket);
        if (!error)
            co_return;
    }
    Log::write("[tts] ERROR {}", message);
    entry->failed = message;
}

void TTSPipeline::finish(EntryPtr const& entry)
{
    entry->end();
    m_inFlight = std::max(m_inFlight - 1, 0);
    auto const waiting = std::find_if(m_queue.begin(), m_queue.end(),
        [](EntryPtr const& candidate) { return !candidate->done && candidate->chunks.empty() && !candidate->started; });
    if (waiting != m_queue.end())
        startGeneration(*waiting);
}

bool TTSPipeline::tooLate(Job const& job) const
{
    if (!job.dropStale || age(job) <= staleAfter)
        return false;
    Log::write("[tts] skip clause {:.1f}s behind: {}", age(job), job.text);
    return true;
}

void TTSPipeline::updatePace(Job const& job)
{
    if (!job.dropStale)
        return;
    auto const behind = age(job);
    if (m_rushing && behind < calmBelow) {
        m_rushing = false;
        Log::write("[tts] caught up → pace {:.2f}", pace());
    } else if (!m_rushing && behind > rushAbove) {
        m_rushing = true;
        Log::write("[tts] {:.1f}s behind → pace {:.2f}", behind, pace());
    }
}

bool TTSPipeline::fits(SonioxTTS::WarmSocket const& socket, std::string const& language) const
{
    return !socket.used && m_scheduler.now() - socket.openedAt < warmLife && socket.language == language
        && socket.voice == m_callbacks.voice() && std::abs(socket.speed - pace()) < samePace;
}

Task<Result<TTSPipeline::SocketPtr>> TTSPipeline::takeSocket(std::string language)
{
    if (auto const node = m_warm.extract(language); node && fits(*node.mapped(), language))
        co_return node.mapped();
    co_return co_await openSocket(std::move(language));
}

Task<Result<TTSPipeline::SocketPtr>> TTSPipeline::openSocket(std::string language)
{
    note(m_openTimes);
    co_return co_await m_tts.open(std::move(language), m_callbacks.voice(), pace());
}

void TTSPipeline::warm(std::string language)
{
    language = languageKey(language);
    if (auto const found = m_warm.find(language); found != m_warm.end()) {
        if (fits(*found->second, language))
            return;
        found->second->cancel();
        m_warm.erase(found);
    }
    int const limit = isSmallBudget(HostedSession::shared().budget().ttsConcurrent) ? 2 : 3;
    auto const sockets = m_inFlight + static_cast<int>(m_warm.size() + m_opening.size());
    if (m_opening.contains(language) || sockets >= limit || !mayWarm())
        return;
    note(m_openTimes);
    m_opening.insert(language);
    m_tasks.spawn(openWarm(shared_from_this(), std::move(language), m_generation));
}

Task<void> TTSPipeline::openWarm(
    [[maybe_unused]] std::shared_ptr<TTSPipeline> self, std::string language, int generation)
{
    auto const socket = co_await m_tts.open(language, m_callbacks.voice(), pace());
    if (m_generation == generation)
        m_opening.erase(language);
    if (!socket)
        co_return;
    if (m_generation == generation)
        store(*socket);
    else
        (*socket)->cancel();
}

void TTSPipeline::store(SocketPtr socket)
{
    auto& place = m_warm[socket->language];
    if (place && !place->used && m_scheduler.now() - place->openedAt < warmLife) {
        socket->cancel();
        return;
    }
    if (place)
        place->cancel();
    place = std::move(socket);
}

bool TTSPipeline::mayWarm()
{
    auto const budget = HostedSession::shared().budget().ttsRpm;
    if (budget < 1)
        return true;
    auto const used = static_cast<std::int64_t>(m_openTimes.size());
    auto const reserve = std::max<std::int64_t>(
        static_cast<std::int64_t>(std::ceil(static_cast<double>(m_clauseTimes.size()) * 1.25)), 6);
    bool const may = budget - reserve > used;
    if (!may && !m_warmPaused) {
        Log::write("[tts] budget tight ({}/min, used {}, clause reserve {}) — warm-ups paused, speech unaffected",
            budget, used, reserve);
    } else if (may && m_warmPaused) {
        Log::write("[tts] budget recovered ({}/min) — warm-ups back on", budget);
    }
    m_warmPaused = !may;
    return may;
}

Task<void> TTSPipeline::pump([[maybe_unused]] std::shared_ptr<TTSPipeline> self)
{
    while (!m_queue.empty()) {
        auto const entry = m_queue.front();
        if (tooLate(entry->job)) {
            stamp(entry->job, "skipped");
            entry->giveUp();
            removeFront(entry);
            continue;
        }
        updatePace(entry->job);
        m_callbacks.onStart(entry->job);
        co_await play(entry);
        removeFront(entry);
    }
    m_pumping = false;
}

Task<void> TTSPipeline::play(EntryPtr entry)
{
    Clip clip;
    for (;;) {
        drain(*entry, clip);
        if (entry->done)
            break;
        bool const moved = co_await waitForProgress(entry, clip.fed);
        if (moved)
            continue;
        Log::write("[tts] WARNING abandoning stuck clause seq={} after {:.0f}s", entry->job.seq,
            toSeconds(SonioxTTS::silenceLimit));
        entry->failed = "synthesis stalled";
        entry->giveUp();
        break;
    }
    if (!clip.playing && !clip.pending.empty() && !entry->cancelled)
        feed(std::move(clip.pending), clip, entry->job);
    m_player->setClipStreaming(false);
    stamp(entry->job, entry->failed ? "failed" : "spoken");
    if (entry->failed && !entry->cancelled)
        m_callbacks.onError(*entry->failed);
}

void TTSPipeline::drain(Entry& entry, Clip& clip)
{
    for (; clip.fed < entry.chunks.size() && !entry.cancelled; ++clip.fed) {
        auto& chunk = entry.chunks[clip.fed];
        if (clip.playing) {
            feed(std::exchange(chunk, {}), clip, entry.job);
            continue;
        }
        clip.pending += chunk;
        chunk.clear();
        bool const reached = clip.pending.size() >= static_cast<std::size_t>(m_leadIn);
        if (!reached && !entry.done)
            continue;
        m_player->setClipStreaming(reached && !entry.done);
        stamp(entry.job, "playing");
        feed(std::exchange(clip.pending, {}), clip, entry.job);
        clip.playing = true;
    }
}

/// Hands on whole samples only.
void TTSPipeline::feed(std::string pcm, Clip& clip, Job const& job)
{
    pcm.insert(0, std::exchange(clip.odd, {}));
    if (pcm.size() % 2 != 0) {
        clip.odd = pcm.back();
        pcm.pop_back();
    }
    if (!std::exchange(clip.begun, true))
        m_callbacks.onSpeech(job, seconds(m_player->queuedSeconds()));
    m_player->enqueuePCM(pcm, synthesisRate, job.dropStale);
}

/// False when nothing came for the whole limit.
Task<bool> TTSPipeline::waitForProgress(EntryPtr entry, std::size_t fed)
{
    if (entry->chunks.size() > fed || entry->done)
        co_return true;
    entry->progress.reset();
    auto const woken = co_await withTimeout(SonioxTTS::silenceLimit, waitFor(entry->progress));
    co_return woken.has_value();
}

void TTSPipeline::removeFront(EntryPtr const& entry)
{
    if (!m_queue.empty() && m_queue.front() == entry)
        m_queue.pop_front();
    m_queued = m_queue.size();
}

void TTSPipeline::cancelAll()
{
    ++m_generation;
    for (auto const& entry : m_queue) {
        entry->cancelled = true;
        entry->giveUp();
    }
    m_queue.clear();
    m_queued = 0;
    for (auto const& [language, socket] : m_warm)
        socket->cancel();
    m_warm.clear();
    m_opening.clear();
}

void TTSPipeline::growLeadIn()
{
    Log::write("[tts] player ran dry mid-clip → larger lead-in");
    m_leadIn = std::min(m_leadIn + leadInStep, longestLeadIn);
}

void TTSPipeline::shutdown()
{
    cancelAll();
    m_tasks.cancel();
}

} // namespace lingrelay
