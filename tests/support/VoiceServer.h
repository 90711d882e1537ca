#pragma once

#include "base/Base64.h"
#include "tests/support/World.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace lingrelay {

/// Plays the synthesis service on a simulated network: answers each text by a plan, "ok" without one.
class VoiceServer {
public:
    struct Plan {
        double delay = 0.2; ///< until the first block
        int blocks = 10;
        double blockGap = 0.05;
        std::size_t blockBytes = 4800; ///< 0.1 s
        char fill = '\0'; ///< every byte of the audio
        std::string error{}; ///< instead of audio
        bool silent = false; ///< says nothing after the blocks
        bool drop = false; ///< breaks off after the blocks
    };

    explicit VoiceServer(World& world) : m_world(world) { }

    std::function<Plan(std::string const& text, int attempt)> plan = [](auto const&, int) { return Plan(); };
    std::vector<std::string> texts; ///< in the order in which they came
    std::map<std::string, int> attempts;
    int speaking = 0;
    int mostSpeaking = 0;

    /// Takes a connection to the synthesis address.
    void take(SimPeer& peer)
    {
        peer.accept(seconds(0.05));
        peer.onFrame = [this, weak = peer.weak_from_this()](SimPeer::Frame const& frame) {
            auto const message = parseJson(frame.data);
            auto const self = weak.lock();
            if (auto const text = message ? jsonString(*message, "text") : std::nullopt; text && self)
                speak(*self, *text);
        };
    }
    bool serves(SimPeer const& peer) const { return peer.request.url.find("tts-websocket") != std::string::npos; }

private:
    void speak(SimPeer& peer, std::string const& text)
    {
        texts.push_back(text);
        auto const plan = this->plan(text, ++attempts[text]);
        if (!plan.error.empty())
            return peer.sendText(jsonText({{"error_code", 429}, {"error_message", plan.error}}), seconds(plan.delay));
        mostSpeaking = std::max(mostSpeaking, ++speaking);
        auto at = plan.delay;
        // The first two bytes of a block tell whose it is, so that a test can hear the order.
        std::string block(plan.blockBytes, plan.fill);
        block.replace(0, 2, {static_cast<char>(texts.size()), '\1'});
        for (int i = 0; i < plan.blocks; ++i, at += plan.blockGap)
            peer.sendText(jsonText({{"audio", encodeBase64(block)}}), seconds(at));
        if (plan.drop)
            peer.drop(seconds(at));
        else if (!plan.silent)
            peer.sendText(R"({"audio_end":true,"terminated":true})", seconds(at));
        m_world.main.startTimer(m_world.time.now() + seconds(at), [this] { --speaking; });
    }

    World& m_world;
};

} // namespace lingrelay
