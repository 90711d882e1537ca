#include "service/engines/Recogniser.h"

#include "base/Log.h"
#include "service/engines/DecoderPool.h"
#include "service/engines/SpeechDetector.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <span>
#include <thread>

namespace lingrelay::service {

namespace {

constexpr std::size_t samplesAMs = Recogniser::rate / 1000;
constexpr std::size_t frameSamples = 160;
constexpr std::size_t guessSamples = Recogniser::rate / 5; ///< sound between two guesses
constexpr std::size_t tailSamples = Recogniser::rate * 3 / 10; ///< silence kept after the last word
constexpr std::size_t longSamples = 8 * Recogniser::rate; ///< from here on a short pause ends a piece
constexpr std::size_t longestSamples = 12 * Recogniser::rate; ///< and from here on any end of a word does
constexpr std::size_t shortestPiece = 3 * Recogniser::rate;
constexpr std::size_t unsureSamples = Recogniser::rate; ///< the newest sound, whose words still change
constexpr int pieceSilenceFrames = 12;
} // namespace

/// What the recogniser and its thread share.
class Recogniser::Mailbox {
public:
    enum class Command { sound, finalize, finish };
    struct Job {
        Command command = Command::sound;
        std::vector<std::int16_t> sound;
    };

    Mailbox(Listener listener, Drained drained) : m_listener(std::move(listener)), m_drained(std::move(drained)) { }

    void put(Job job)
    {
        {
            std::lock_guard const hold(m_lock);
            m_backlog += job.sound.size();
            m_jobs.push_back(std::move(job));
        }
        m_arrived.notify_one();
    }
    /// Nothing when the recogniser is gone.
    std::optional<Job> next()
    {
        std::unique_lock hold(m_lock);
        m_arrived.wait(hold, [this] { return m_closed || !m_jobs.empty(); });
        if (m_closed)
            return {};
        auto job = std::move(m_jobs.front());
        m_jobs.pop_front();
        return job;
    }
    void done(Job const& job)
    {
        std::lock_guard const hold(m_lock);
        m_backlog -= job.sound.size();
        if (!m_closed)
            m_drained();
    }
    void tell(Event event)
    {
        std::lock_guard const hold(m_lock);
        if (!m_closed)
            m_listener(std::move(event));
    }
    void report(Progress progress)
    {
        std::lock_guard const hold(m_lock);
        m_progress = progress;
    }
    void close()
    {
        std::lock_guard const hold(m_lock);
        m_closed = true;
        m_arrived.notify_one();
    }
    bool closed() const
    {
        std::lock_guard const hold(m_lock);
        return m_closed;
    }
    std::size_t backlog() const
    {
        std::lock_guard const hold(m_lock);
        return m_backlog;
    }
    Progress progress() const
    {
        std::lock_guard const hold(m_lock);
        return m_progress;
    }

private:
    Listener m_listener;
    Drained m_drained;
    mutable std::mutex m_lock;
    std::condition_variable m_arrived;
    std::deque<Job> m_jobs;
    std::size_t m_backlog = 0;
    Progress m_progress;
    bool m_closed = false;
};

/// The state of one stream, on the recogniser's thread.
class Recogniser::Worker {
public:
    Worker(Mailbox& mailbox, Decoder& decoder, int pauseMs)
        : m_mailbox(mailbox)
        , m_decoder(decoder)
        , m_detector(pauseMs)
        , m_surplusSamples(
              std::max<std::size_t>(static_cast<std::size_t>(pauseMs) * samplesAMs, tailSamples) - tailSamples)
    {
    }

    /// Until the end of the stream, or of the recogniser.
    void run()
    {
        while (auto const job = m_mailbox.next()) {
            if (job->command == Mailbox::Command::finish)
                return finish(Event::Kind::finished);
            if (job->command == Mailbox::Command::finalize)
                finish(Event::Kind::finalized);
            else
                hear(job->sound);
            m_mailbox.done(*job);
        }
    }

private:
    void hear(std::span<std::int16_t const> sound)
    {
        m_rest.insert(m_rest.end(), sound.begin(), sound.end());
        std::size_t at = 0;
        for (; at + SpeechDetector::blockSamples <= m_rest.size() && !m_mailbox.closed();
             at += SpeechDetector::blockSamples)
            hearBlock(std::span(m_rest).subspan(at, SpeechDetector::blockSamples));
        m_rest.erase(m_rest.begin(), m_rest.begin() + static_cast<std::ptrdiff_t>(at));
        reportProgress();
    }

    /// Ends the utterance that goes on, if any.
    void finish(Event::Kind answer)
    {
        if (m_speaking)
            endUtterance(m_sound.size());
        m_speaking = false;
        m_mailbox.tell({answer, {}});
    }

    void hearBlock(std::span<std::int16_t const> block)
    {
        bool const speech = m_detector.speech(block);
        m_sound.insert(m_sound.end(), block.begin(), block.end());
        m_heard += block.size();
        if (speech && !m_speaking)
            beginUtterance();
        else if (m_speaking && !speech)
            endUtterance(m_sound.size() - std::min(m_surplusSamples, m_sound.size()));
        else if (m_speaking)
            continueUtterance();
        else if (m_sound.size() > SpeechDetector::startSamples)
            m_sound.erase(m_sound.begin(), m_sound.end() - SpeechDetector::startSamples);
        m_speaking = speech && m_speaking;
    }

    void beginUtterance()
    {
        m_speaking = true;
        m_decoder.start();
        m_decoded = 0;
        m_guessed = 0;
        m_guess.clear();
    }

    void continueUtterance()
    {
        if (m_sound.size() < m_guessed + guessSamples)
            return;
        catchUp();
        auto const segments = m_decoder.segments();
        auto words = wordsOf(segments, 0.5);
        for (auto& word : words)
            word.confidence = guessedBefore(word) ? 0.8 : 0.5;
        if (words != m_guess) {
            m_guess = words;
            m_mailbox.tell({Event::Kind::partial, std::move(words)});
        }
        if (m_sound.size() >= longSamples)
            cutPiece(segments);
    }

    void catchUp()
    {
        m_decoder.add(std::span(m_sound).subspan(m_decoded));
        m_decoded = m_guessed = m_sound.size();
    }

    /// Gives out the front of a long utterance, up to a silence between words; when it is very long, up to any word.
    void cutPiece(std::vector<Decoder::Segment> const& segments)
    {
        int const first = static_cast<int>(shortestPiece / frameSamples);
        int const last = static_cast<int>((m_sound.size() - unsureSamples) / frameSamples);
        int cut = 0;
        int longest = pieceSilenceFrames - 1;
        for (auto const& segment : segments) {
            int const length = segment.endFrame - segment.startFrame;
            if (segment.silence() && segment.startFrame >= first && segment.endFrame <= last && length > longest) {
                longest = length;
                cut = (segment.startFrame + segment.endFrame) / 2;
            }
        }
        if (cut == 0 && m_sound.size() >= longestSamples) {
            for (auto const& segment : segments) {
                if (segment.endFrame >= first && segment.endFrame <= last)
                    cut = segment.endFrame;
            }
            cut = cut == 0 ? last : cut;
        }
        if (cut == 0)
            return;
        giveOut(static_cast<std::size_t>(cut) * frameSamples, Event::Kind::piece);
        beginUtterance();
        catchUp();
    }

    void endUtterance(std::size_t samples)
    {
        giveOut(samples, Event::Kind::utterance);
        if (m_sound.size() > SpeechDetector::startSamples)
            m_sound.erase(m_sound.begin(), m_sound.end() - SpeechDetector::startSamples);
    }

    /// Decodes the first `samples` afresh, reports their words and lets go of them.
    void giveOut(std::size_t samples, Event::Kind kind)
    {
        auto words = wordsOf(m_decoder.decode(std::span(m_sound).first(samples)), 0.6);
        for (auto& word : words)
            word.confidence = guessedBefore(word) ? 0.95 : 0.6;
        m_sound.erase(m_sound.begin(), m_sound.begin() + static_cast<std::ptrdiff_t>(samples));
        m_guess.clear();
        reportProgress();
        m_mailbox.tell({kind, std::move(words)});
    }

    std::vector<SpokenWord> wordsOf(std::vector<Decoder::Segment> const& segments, double confidence) const
    {
        auto const start = static_cast<std::int64_t>((m_heard - m_sound.size()) / samplesAMs);
        std::vector<SpokenWord> words;
        for (auto const& segment : segments) {
            if (!segment.silence())
                words.push_back(
                    {segment.text, start + segment.startFrame * 10, start + segment.endFrame * 10, confidence});
        }
        return words;
    }

    /// Whether the last guess heard the same word at about the same time: two passes that agree are the best measure
    /// of confidence that this search gives.
    bool guessedBefore(SpokenWord const& word) const
    {
        return std::any_of(m_guess.begin(), m_guess.end(), [&](SpokenWord const& other) {
            return other.text == word.text && std::abs(other.startMs - word.startMs) < 200;
        });
    }

    void reportProgress()
    {
        auto const total = static_cast<std::int64_t>(m_heard / samplesAMs);
        auto const open = m_speaking ? static_cast<std::int64_t>(m_sound.size() / samplesAMs) : 0;
        m_finalMs = std::max(m_finalMs, total - open);
        m_mailbox.report({m_finalMs, total});
    }

    Mailbox& m_mailbox;
    Decoder& m_decoder;
    SpeechDetector m_detector;
    std::size_t m_surplusSamples; ///< silence after an utterance that is not decoded
    std::vector<std::int16_t> m_rest; ///< less than a block
    std::vector<std::int16_t> m_sound; ///< the utterance so far, or the last moment of silence
    std::size_t m_heard = 0;
    std::int64_t m_finalMs = 0;
    std::size_t m_decoded = 0; ///< of m_sound, by the guessing pass
    std::size_t m_guessed = 0;
    std::vector<SpokenWord> m_guess;
    bool m_speaking = false;
};

Recogniser::Recogniser(DecoderPool& pool, int pauseMs, Listener listener, Drained drained)
    : m_mailbox(std::make_shared<Mailbox>(std::move(listener), std::move(drained)))
{
    std::thread([mailbox = m_mailbox, &pool, pauseMs] {
        auto decoder = pool.take();
        if (decoder) {
            Worker(*mailbox, *decoder, pauseMs).run();
        } else {
            Log::write("[service] the speech model does not load");
            mailbox->tell({Event::Kind::failed, {}});
        }
        pool.giveBack(std::move(decoder));
    }).detach();
}

Recogniser::~Recogniser() { m_mailbox->close(); }

void Recogniser::push(std::vector<std::int16_t> sound) { m_mailbox->put({Mailbox::Command::sound, std::move(sound)}); }
void Recogniser::finalize() { m_mailbox->put({Mailbox::Command::finalize, {}}); }
void Recogniser::finish() { m_mailbox->put({Mailbox::Command::finish, {}}); }
std::size_t Recogniser::backlog() const { return m_mailbox->backlog(); }
Recogniser::Progress Recogniser::progress() const { return m_mailbox->progress(); }

} // namespace lingrelay::service
