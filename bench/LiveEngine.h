#pragma once

#include "base/Registry.h"
#include "bench/SilentOutputs.h"
#include "core/Engine.h"
#include "platform/linux/AsioNetwork.h"
#include "platform/linux/AsioScheduler.h"
#include "speech/HostedSession.h"

#include <memory>
#include <string>

namespace lingrelay::bench {

/// An engine as the programs make it, on real sockets, with a key of the user's own and a silent sound card.
class LiveEngine {
public:
    LiveEngine(std::string sttUrl, std::string ttsUrl);
    ~LiveEngine();

    Engine& operator*() { return *m_engine; }
    Engine* operator->() { return m_engine.get(); }

    static AppSettings settings();

private:
    Registry m_registry;
    AsioRuntime m_runtime;
    std::unique_ptr<Scheduler> m_stream = m_runtime.makeScheduler();
    std::unique_ptr<Scheduler> m_pipeline = m_runtime.makeScheduler();
    std::unique_ptr<Scheduler> m_background = m_runtime.makeScheduler();
    AsioNetwork m_network{m_runtime};
    SilentOutputs m_outputs;
    std::shared_ptr<Engine> m_engine;
};

} // namespace lingrelay::bench
