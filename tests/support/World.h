#pragma once

#include "audio/EchoGuard.h"
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
        time.runReady();
        Log::setSink({});
    }

    bool logged(std::string_view part) const
    {
        return std::any_of(log.begin(), log.end(), [&](auto const& line) { return line.find(part) != line.npos; });
    }

    Hosts const hosts{"ws://127.0.0.1:1", "ws://127.0.0.1:2", "", "http://127.0.0.1:3"};
    VirtualTime time;
    VirtualScheduler main{time};
    VirtualScheduler streamScheduler{time};
    VirtualScheduler pipelineScheduler{time};
    VirtualScheduler background{time};
    std::vector<std::string> log;
    SimNetwork network{time};
    SimAudioOutputs outputs;
    Registry registry;
    Defaults& defaults = registry.put<Defaults>(std::make_shared<SimDefaults>());
    UiLanguage& language = registry.put(std::make_shared<UiLanguage>());
    Net& net = registry.put(std::make_shared<Net>(network));
    HostedSession& hosted = registry.put(std::make_shared<HostedSession>(main, net, "caller"));
    EchoGuard& echoGuard = registry.put(std::make_shared<EchoGuard>(main));
};

} // namespace lingrelay
