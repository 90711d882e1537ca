#pragma once

#include "base/async/Task.h"
#include "platform/Network.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lingrelay {

/// The provider's realtime synthesis: one text becomes 24 kHz 16-bit mono PCM. One socket serves exactly one clause.
/// Tasks run on the scheduler of whoever awaits them, which the socket's completions use too; no state of its own.
class SonioxTTS {
public:
    /// A socket that was opened ahead of its text.
    struct WarmSocket {
        std::shared_ptr<WebSocket> socket;
        std::string streamID; ///< UUID, new for every socket
        std::string language;
        std::string voice;
        double speed = 1; ///< as given, before clamping
        Instant openedAt;
        bool used = false;

        /// Closes it unspoken.
        void cancel() const;
    };
    using OnAudio = std::function<void(std::string pcm)>;
    using Outcome = std::optional<Error>; ///< nothing on success

    /// A voice that has begun and then says nothing for so long is given up.
    static constexpr Duration silenceLimit = seconds(25.0);

    explicit SonioxTTS(Network& network) : m_network(network) { }

    /// Speaks `text` in one call, up to the silence limit; text of only white space opens no socket.
    Task<Outcome> stream(std::string text, std::string language, std::string voice, double speed, OnAudio onAudio);
    /// Connects and sends the configuration, without waiting for a reply.
    Task<Result<std::shared_ptr<WarmSocket>>> open(std::string language, std::string voice, double speed);
    /// Speaks `text` on the socket and closes it, whatever the outcome. A service that gives no first answer within
    /// 15 seconds is given up; later silence is the caller's to end, by cancelling the task.
    Task<Outcome> speak(std::string text, std::shared_ptr<WarmSocket> warm, OnAudio onAudio);

private:
    Network& m_network;
};

} // namespace lingrelay
