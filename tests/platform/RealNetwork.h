#pragma once

#include "platform/linux/AsioNetwork.h"
#include "platform/linux/AsioScheduler.h"

#include <functional>
#include <memory>

namespace lingrelay {

/// The program's own network, on a thread of its own; what it tells is told while the test waits.
struct RealNetwork {
    ~RealNetwork()
    {
        network.reset();
        runtime.stop();
    }

    /// False when `limit` passed first.
    bool until(std::function<bool()> const& done, Duration limit = std::chrono::seconds(20))
    {
        for (auto const end = loop.now() + limit; !done();) {
            if (loop.now() >= end)
                return false;
            loop.startTimer(loop.now() + std::chrono::milliseconds(2), [this] { loop.quit(); });
            loop.run();
        }
        return true;
    }

    AsioRuntime runtime;
    AsioMainLoop loop;
    std::unique_ptr<AsioNetwork> network = std::make_unique<AsioNetwork>(runtime);
};

} // namespace lingrelay
