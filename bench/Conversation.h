#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace lingrelay::bench {

/// The recogniser's messages for an endless English talk with Spanish translation, always the same: eight a second,
/// subword tokens, previews before finals, an end mark after each sentence. One thread.
class Conversation {
public:
    static constexpr std::size_t messagesPerMinute = 8 * 60;

    /// The next message, as sent on the wire.
    std::string next();
    /// Tokens in all messages so far.
    std::size_t tokens() const { return m_tokens; }

private:
    void beginSentence();

    std::size_t m_sentence = 0;
    std::vector<std::string> m_source; ///< the tokens of the sentence that is being spoken
    std::vector<std::string> m_target;
    std::size_t m_sourceDone = 0;
    std::size_t m_targetDone = 0;
    std::size_t m_elapsed = 0; ///< milliseconds
    std::size_t m_tokens = 0;
};

} // namespace lingrelay::bench
