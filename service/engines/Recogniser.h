#pragma once

#include "service/engines/SpokenWord.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace lingrelay::service {

class DecoderPool;

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
    class Mailbox;
    std::shared_ptr<Mailbox> m_mailbox; ///< what both threads use
};

} // namespace lingrelay::service
