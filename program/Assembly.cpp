#include "program/Assembly.h"

#include "base/async/OneShot.h"

namespace lingrelay {

namespace {

constexpr Duration endPoll = seconds(0.005); ///< between two looks whether a call is over

} // namespace

Assembly::Assembly(Foundation foundation)
    : m_foundation(std::move(foundation))
    , m_listenStream(m_foundation.makeScheduler())
    , m_listenPipeline(m_foundation.makeScheduler())
    , m_speakStream(m_foundation.makeScheduler())
    , m_speakPipeline(m_foundation.makeScheduler())
    , m_background(m_foundation.makeDiskScheduler())
{
    m_registry.put<Defaults>(m_foundation.defaults);
    m_registry.put(std::make_shared<UiLanguage>()).setLang(AppSettings::load().uiLang);
    m_registry.put(std::make_shared<EchoGuard>(m_foundation.main));
    m_registry.put(std::make_shared<FarEndEcho>(m_foundation.main));
    m_registry.put(std::make_shared<SessionStore>(m_foundation.sessions));
}

Assembly::~Assembly() = default;

AppModel& Assembly::makeModel() { return m_registry.put(std::make_shared<AppModel>()); }

void Assembly::connect(Hosts hosts, std::string const& clientToken)
{
    m_foundation.secrecy->add(clientToken);
    if (m_hosts) {
        m_hosts->use(std::move(hosts));
        m_hosted->setClientToken(clientToken);
        return;
    }
    m_hosts = &m_registry.put(std::make_shared<HostsInUse>(std::move(hosts)));
    auto& net = m_registry.put(std::make_shared<Net>(m_foundation.network));
    auto const hosted = std::make_shared<HostedSession>(m_foundation.main, net, clientToken);
    m_foundation.secrecy->follow(hosted);
    m_hosted = &m_registry.put(hosted);
}

AppDelegate& Assembly::begin(Surroundings surroundings, std::function<void(AppDelegate&)> const& prepare)
{
    auto& sound = surroundings.sound;
    m_capture = std::make_unique<AudioCapture>(sound.systemAudio, *m_background);
    m_mic = std::make_unique<MicCapture>(sound.inputs, m_foundation.main);
    m_muter = std::make_unique<AudioMuter>(sound.muter, m_foundation.main, *m_background);
    m_driver = std::make_unique<DriverInstaller>(sound.virtualMicrophone, m_foundation.main, *m_background);
    auto& network = m_foundation.network;
    m_app = AppDelegate::create({
        .main = m_foundation.main,
        .listen = {network, *m_listenStream, *m_listenPipeline, *m_background, surroundings.listenOutputs},
        .speak = {network, *m_speakStream, *m_speakPipeline, *m_background, surroundings.speakOutputs},
        .capture = surroundings.capture ? *surroundings.capture : *m_capture,
        .mic = surroundings.mic ? *surroundings.mic : *m_mic,
        .muter = *m_muter,
        .devices = sound.devices,
        .driver = *m_driver,
        .overlay = surroundings.overlay,
        .shell = surroundings.shell,
        .ptt = surroundings.ptt,
        .workspace = surroundings.workspace,
        .clean = [secrecy = m_foundation.secrecy](std::string text) { return secrecy->clean(std::move(text)); },
    });
    if (prepare)
        prepare(*m_app);
    m_app->applicationDidFinishLaunching();
    return *m_app;
}

Task<void> Assembly::endSession()
{
    if (!m_app)
        co_return;
    m_app->applicationWillTerminate();
    co_await quietStreams();
    m_app->stopFromUI();
    m_app->shutdown();
    co_await settled(m_foundation.main); // the last status
}

Task<void> Assembly::end(Duration reportLimit)
{
    co_await endSession();
    co_await tellBackend(reportLimit);
    if (!m_app)
        co_return;
    for (auto* engine : {&m_app->listenEngine(), &m_app->speakEngine()})
        engine->player().teardown();
    for (int round = 0; round < 2; ++round) { // the second for what the end of the controller itself posts
        for (auto* scheduler : {m_listenStream.get(), m_speakStream.get(), m_listenPipeline.get(),
                 m_speakPipeline.get(), m_background.get()})
            co_await settled(*scheduler);
        m_app.reset();
    }
    m_driver.reset();
    m_muter.reset();
    m_mic.reset();
    m_capture.reset();
}

/// Every line that a stream has finished is in the model afterwards.
Task<void> Assembly::quietStreams()
{
    for (auto* engine : {&m_app->listenEngine(), &m_app->speakEngine()}) {
        if (auto const stream = engine->stream())
            stream->stop();
    }
    for (auto* scheduler : {m_listenStream.get(), m_speakStream.get()})
        co_await settled(*scheduler);
}

Task<void> Assembly::tellBackend(Duration limit)
{
    auto const busy = [this] { return (m_app && !m_app->idle()) || (m_hosted && !m_hosted->idle()); };
    auto const deadline = m_foundation.main.now() + limit;
    while (busy() && m_foundation.main.now() < deadline)
        co_await sleep(endPoll);
    if (m_app)
        m_app->abandonBackend();
    if (m_hosted)
        m_hosted->shutdown();
    while (busy())
        co_await sleep(endPoll);
}

Task<void> Assembly::settled(Scheduler& scheduler)
{
    OneShot<bool> done;
    scheduler.post([done, &main = m_foundation.main] { main.post([done] { done.set(true); }); });
    co_await done.take();
}

} // namespace lingrelay
