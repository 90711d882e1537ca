#pragma once

#include "service/engines/DecoderPool.h"
#include "service/engines/Translator.h"
#include "service/engines/Voices.h"
#include "service/wire/Limits.h"
#include "service/wire/SessionBook.h"

namespace lingrelay::service {

/// What all conversations of one run share. One executor; it outlives them.
struct Provider {
    Limits limits;
    SessionBook book;
    DecoderPool decoders;
    Translator translator;
    Voices voices;
    MinuteCounter sttRequests{};
    MinuteCounter ttsRequests{};
    int sttStreams = 0;
    int ttsConnections = 0;
};

/// Counts one more while it lives.
class Counted {
public:
    explicit Counted(int& count) : m_count(count) { ++m_count; }
    ~Counted() { --m_count; }
    Counted(Counted const&) = delete;
    Counted& operator=(Counted const&) = delete;

private:
    int& m_count;
};

class Peer;

/// Whether a client may speak to a provider: the upgrade's Authorization and the first message's key, one of which may
/// be missing, must both be good.
bool authorised(Provider& provider, Peer const& peer, Json const& message);

/// What an unknown key gets to read.
inline constexpr char const* wrongKeyText = "Incorrect API key provided. The local service takes the token that it "
                                            "printed when it started, or a key of a session.";

} // namespace lingrelay::service
