#pragma once

#include "base/Result.h"
#include "service/Tokens.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace lingrelay {

/// The loaded speech models. A decoder takes half a second and about 100 MB to load, so one is always kept ready for
/// the next stream. Any thread.
class DecoderPool {
public:
    class Decoder;

    /// `modelFolder` holds "en-us".
    explicit DecoderPool(std::string modelFolder);

    /// Waits until every decoder has come back.
    ~DecoderPool();

    /// What is missing, in words for the user; empty when the model is complete.
    std::string problem() const;
    /// Loads the first decoder in the background.
    void warm();
    /// A decoder, after waiting for one that is loading. Null when the model cannot be loaded. Comes back with
    /// giveBack in either case.
    std::unique_ptr<Decoder> take();
    void giveBack(std::unique_ptr<Decoder> decoder);

private:
    std::unique_ptr<Decoder> load() const;

    std::string m_folder;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::thread m_loader;
    bool m_loading = false;
    int m_taken = 0;
    std::vector<std::unique_ptr<Decoder>> m_idle;
};

/// Recognises the English speech of one stream, on a thread of its own.
///
/// Speech is cut into utterances at pauses. While one goes on, its words so far are guessed again and again; at its end
/// the whole of it is decoded afresh, with the sound's own average known, which gives better words and is final.
class Recogniser {
public:
    struct Event {
        enum class Kind {
            partial, ///< `words` replace the last guess at the utterance
            piece, ///< `words` are final, but the sentence goes on
            utterance, ///< `words` are final and end a sentence
            finalized, ///< the answer to finalize(): all words so far have been given
            finished, ///< the answer to finish(), likewise; the last event
            failed, ///< nothing more comes
        };
        Kind kind = Kind::partial;
        std::vector<SpokenWord> words;
    };
    struct Progress {
        std::int64_t finalMs = 0; ///< all sound before this has its final words
        std::int64_t totalMs = 0; ///< all sound before this has been heard
    };
    /// Called on the recogniser's thread, with a lock held: they only pass on the news.
    using Listener = std::function<void(Event)>;
    using Drained = std::function<void()>; ///< backlog() has become less

    static constexpr int rate = 16000;

    /// The pool outlives the thread, which may end a little later than this object; the callbacks do not run then.
    Recogniser(DecoderPool& pool, int pauseMs, Listener listener, Drained drained);
    ~Recogniser();

    void push(std::vector<std::int16_t> sound);
    void finalize();
    void finish();

    /// Samples that wait.
    std::size_t backlog() const;
    Progress progress() const;

private:
    class Worker;
    class Desk;
    std::shared_ptr<Desk> m_desk; ///< what both threads use
};

} // namespace lingrelay
