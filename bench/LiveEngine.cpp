#include "bench/LiveEngine.h"

#include "audio/EchoGuard.h"
#include "config/Hosts.h"
#include "config/L10n.h"
#include "core/FarEndEcho.h"
#include "platform/sim/SimDefaults.h"

namespace lingrelay::bench {

LiveEngine::LiveEngine(std::string sttUrl, std::string ttsUrl)
{
    m_registry.put(std::make_shared<HostsInUse>(Hosts{std::move(sttUrl), std::move(ttsUrl), "", ""}));
    m_registry.put<Defaults>(std::make_shared<SimDefaults>()).set("k.soniox", "bench");
    m_registry.put(std::make_shared<UiLanguage>());
    auto& net = m_registry.put(std::make_shared<Net>(m_network));
    m_registry.put(std::make_shared<HostedSession>(*m_background, net, ""));
    m_registry.put(std::make_shared<EchoGuard>(*m_background));
    m_registry.put(std::make_shared<FarEndEcho>(*m_background));
    m_engine = Engine::create({m_network, *m_stream, *m_pipeline, *m_background, m_outputs});
    m_engine->tag = "listen";
}

LiveEngine::~LiveEngine()
{
    m_engine->stop();
    m_runtime.stop();
    m_engine.reset();
}

AppSettings LiveEngine::settings()
{
    AppSettings settings;
    settings.sourceLang = "en";
    settings.targetLang = "es";
    settings.tts = false;
    return settings;
}

} // namespace lingrelay::bench
