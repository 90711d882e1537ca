#pragma once

#include "base/async/Scheduler.h"
#include "cli/soundfiles/Pace.h"
#include "cli/soundfiles/SoundFile.h"

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace lingrelay {

/// Where a feeder's sound goes: the recogniser's stream of an engine, as far as a feeder needs it. Any thread.
class AudioTarget {
public:
    virtual ~AudioTarget() = default;

    /// The socket has been answered; audio is taken without loss.
    virtual bool open() const = 0;
    /// Counts the sockets so far.
    virtual int connection() const = 0;
    /// `sent` is called once, on any thread, when the block was handed on; never for a block that was lost.
    virtual void send(std::string pcm, std::function<void()> sent) = 0;
};

/// Feeds a sound file to a recogniser, from its first sample once the socket is open.
///
/// In real time the clock runs on during a reconnect, and that sound is lost as live sound would be. With `fast`,
/// blocks go out as the operating system takes them, a few at a time; a reconnect is waited for, and feeding goes back
/// to what the provider had recognised for good. A provider that does not tell had recognised nothing when no text came
/// of that connection, and otherwise all that was handed on. The end waits for a provider that is behind: a connection
/// that dies with sound in its buffers is noticed while something can be done about it.
///
/// Lives on its scheduler; `stop` before it is dropped. The target outlives it.
class FileFeeder : public std::enable_shared_from_this<FileFeeder> {
public:
    FileFeeder(Scheduler& scheduler, AudioTarget& target, SoundFile file, Pace pace);

    /// Called on its scheduler: at the first sample, and when the last one is out and its time has passed; then with
    /// what was wrong with the file.
    std::function<void()> onBegin;
    std::function<void(std::optional<Error>)> onEnd;

    void start();
    void stop();
    /// How much of a connection's audio the provider has recognised for good, and how much it has looked at.
    void noteProgress(int connection, std::int64_t finalMs, std::int64_t lookedAtMs);
    /// Text came of a connection.
    void noteText(int connection);

    /// Seconds of the file that have gone out; any thread.
    double position() const { return static_cast<double>(m_position) / static_cast<double>(SoundFile::rate); }
    double length() const { return m_file.seconds(); }

private:
    struct Block {
        std::uint64_t number;
        std::int64_t start;
    };

    void wake(Duration delay);
    void turn();
    void realtimeTurn();
    void fastTurn();
    bool sendBlock();
    void connected(int connection);
    void handedOn(std::uint64_t number);
    std::int64_t restartPlace() const;
    bool providerBehind() const;
    void end();

    Scheduler& m_scheduler;
    AudioTarget& m_target;
    SoundFile m_file;
    Pace m_pace;
    Scheduler::TimerId m_timer = 0;
    bool m_begun = false;
    bool m_stopped = false;
    bool m_fileEnded = false;
    Instant m_beganAt;
    std::atomic<std::int64_t> m_position = 0; ///< next sample to go out
    int m_connection = -1; ///< the one that the fields below speak of
    std::int64_t m_connectionStart = 0; ///< first sample that it was given
    std::optional<std::int64_t> m_recognised; ///< samples of it that are recognised for good
    std::optional<std::int64_t> m_lookedAt; ///< samples of it that the provider has looked at
    bool m_hasText = false; ///< some text came of it
    Instant m_lastNews; ///< of it: a block handed on, progress, text
    std::list<Block> m_underWay; ///< sent, not yet handed on
    std::uint64_t m_lastNumber = 0;
};

} // namespace lingrelay
