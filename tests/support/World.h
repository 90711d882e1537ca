#pragma once

#include "audio/EchoGuard.h"
#include "base/Json.h"
#include "base/Log.h"
#include "base/Registry.h"
#include "config/Hosts.h"
#include "config/L10n.h"
#include "platform/sim/SimAudio.h"
#include "platform/sim/SimDefaults.h"
#include "platform/sim/SimNetwork.h"
#include "platform/sim/VirtualTime.h"
#include "speech/HostedSession.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// Everything a case stands on, fresh: virtual time, simulated services and a filled registry.
class World {
public:
    explicit World(std::optional<std::uint32_t> seed = {}) : time(seed)
    {
        registry.put(std::make_shared<HostsInUse>(hosts));
        Log::setSink([this](std::string_view line) { log.emplace_back(line); });
    }
    ~World()
    {
        hosted.shutdown();
        tasks.cancel();
        time.runReady();
        Log::setSink({});
    }

    bool logged(std::string_view part) const
    {
        return std::any_of(log.begin(), log.end(), [&](auto const& line) { return line.find(part) != line.npos; });
    }

    /// What the backend answers, by the last word of the path.
    void answerBackend(
        std::function<HttpResponse(std::string const& path)> const& answer = [](auto const&) { return session(600); })
    {
        network.onExchange = [this, answer](SimExchange const& exchange) {
            auto const& url = exchange.request().url;
            calls.push_back(url.substr(url.rfind('/') + 1));
            exchange.answer(answer(calls.back()), seconds(backendDelay));
        };
    }
    static HttpResponse session(std::int64_t left)
    {
        return {200, {},
            jsonText({{"session_id", "s-1"}, {"stt_key", "a"}, {"tts_key", "b"}, {"remaining_seconds", left}})};
    }
    void startHosted()
    {
        tasks.spawn([](HostedSession& hosted) -> Task<void> { co_await hosted.start(); }(hosted));
    }

    Hosts const hosts{"ws://127.0.0.1:1", "ws://127.0.0.1:2", "", "http://127.0.0.1:3"};
    VirtualTime time;
    VirtualScheduler main{time};
    VirtualScheduler streamScheduler{time};
    VirtualScheduler pipelineScheduler{time};
    VirtualScheduler background{time};
    std::vector<std::string> log;
    std::vector<std::string> calls; ///< to the backend
    double backendDelay = 0.05; ///< of its answers
    SimNetwork network{time};
    SimAudioOutputs outputs;
    Registry registry;
    Defaults& defaults = registry.put<Defaults>(std::make_shared<SimDefaults>());
    UiLanguage& language = registry.put(std::make_shared<UiLanguage>());
    Net& net = registry.put(std::make_shared<Net>(network));
    HostedSession& hosted = registry.put(std::make_shared<HostedSession>(main, net, "caller"));
    EchoGuard& echoGuard = registry.put(std::make_shared<EchoGuard>(main));
    TaskGroup tasks{main};
};

} // namespace lingrelay
