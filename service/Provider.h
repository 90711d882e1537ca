#pragma once

#include "service/Limits.h"
#include "service/Recogniser.h"
#include "service/SessionBook.h"
#include "service/Translator.h"
#include "service/Voices.h"

namespace lingrelay {

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
class Place {
public:
    explicit Place(int& count) : m_count(count) { ++m_count; }
    ~Place() { --m_count; }
    Place(Place const&) = delete;
    Place& operator=(Place const&) = delete;

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

} // namespace lingrelay
