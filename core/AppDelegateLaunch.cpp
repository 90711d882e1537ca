// Launch, the ways of sound, text and status through the controller, and the end of the program.

#include "audio/EchoGuard.h"
#include "base/async/Lifetime.h"
#include "config/L10n.h"
#include "core/AppDelegate.h"

namespace lingrelay {

namespace {

constexpr Duration recapSpan = seconds(120.0);
constexpr Duration tickTime = seconds(1.0);
constexpr Duration exitBackstop = seconds(1.0);
constexpr Duration restartDelay = seconds(0.4); ///< the other instance is up before this one goes

} // namespace

std::shared_ptr<AppDelegate> AppDelegate::create(Services services)
{
    return std::shared_ptr<AppDelegate>(new AppDelegate(std::move(services)));
}

AppDelegate::AppDelegate(Services services)
    : m_services(std::move(services))
    , m_model(AppModel::shared())
    , m_settings(AppSettings::load())
    , m_listenEngine(Engine::create(m_services.listen))
    , m_speakEngine(Engine::create(m_services.speak))
    , m_status(m_model)
    , m_routing(
          {m_services.devices, m_services.mic, m_listenEngine->player(), m_speakEngine->player(), m_model}, m_settings)
    , m_driverOffer({m_services.main, m_services.driver, m_routing, m_services.overlay, m_services.shell})
    , m_talkKey(m_services.ptt, m_services.mic, m_services.overlay, m_model)
    , m_keeping({m_services.main, m_services.listen.background, m_model, m_status, m_services.overlay}, m_settings)
    , m_lease(m_services.main)
    , m_oneShots({m_services.main, m_services.speak.network, m_model, *m_listenEngine, *m_speakEngine, m_routing,
                     m_lease, m_status, m_services.overlay, m_services.shell, m_services.clean},
          m_settings)
    , m_tasks(m_services.main)
{
}

AppDelegate::~AppDelegate() { m_services.main.stopTimer(m_tick); }

void AppDelegate::applicationDidFinishLaunching()
{
    adoptLanguageAndGuard();
    m_listenEngine->player().moveTo({});
    m_listenEngine->player().setGatesMic(true);
    m_speakEngine->player().moveTo({});
    wireSources();
    m_listenEngine->tag = "listen";
    m_speakEngine->tag = "speak";
    wireEngine(*m_listenEngine, Direction::listen);
    wireEngine(*m_speakEngine, Direction::speak);
    for (auto const& engine : {m_listenEngine, m_speakEngine}) {
        engine->contextProfile = m_model.activeProfile();
        engine->useRollingContext = m_settings.rollingContext;
    }
    m_services.shell.buildMenu();
    installCommands();
    // The trim of a long transcript is published too: a line is new only once.
    m_transcriptWatch = m_model.transcript.observe([this, last = std::string()](auto const& lines) mutable {
        if (!lines.empty() && lines.back().id == std::exchange(last, lines.back().id))
            return;
        m_keeping.transcriptChanged();
    });
    m_routing.publish();
    startTicking();
    watchFrontApplication();
    HostedSession::shared().onExhausted = whileAlive(weak_from_this(), std::mem_fn(&AppDelegate::serviceTimeIsOver));
    m_services.shell.showMainWindow();
}

void AppDelegate::wireSources()
{
    auto const self = weak_from_this();
    auto& services = m_services;
    services.capture.onPCM = whileAlive(self, [](AppDelegate& app, std::string pcm, std::function<void()> sent) {
        auto const level = app.m_sysMeter.feed(pcm);
        app.m_listenEngine->sendAudio(std::move(pcm), std::move(sent));
        EchoGuard::shared().bumpFarEnd(level);
        app.onMain([level](AppDelegate& main) { main.m_model.systemLevel = level; });
    });
    services.mic.onHeldBack = whileAlive(self, [](AppDelegate& app) {
        auto const level = app.m_micMeter.feed({});
        app.onMain([level](AppDelegate& main) { main.m_model.micLevel = level; });
    });
    services.mic.onPCM = whileAlive(self, [](AppDelegate& app, std::string pcm, std::function<void()> sent) {
        auto const level = app.m_micMeter.feed(pcm);
        app.m_speakEngine->sendAudio(std::move(pcm), std::move(sent));
        app.onMain([level](AppDelegate& main) { main.m_model.micLevel = level; });
    });
    using Trouble = StatusLine::Trouble;
    using Place = StatusLine::Place;
    services.capture.onError = whileAlive(self, [](AppDelegate& app, std::string const& message) {
        app.troubleBegins(Trouble::systemAudio, message, Place::bannerAndStatus);
    });
    services.capture.onRecovered = whileAlive(self, [](AppDelegate& app) { app.troubleIsOver(Trouble::systemAudio); });
    services.mic.onError = whileAlive(self, [](AppDelegate& app, std::string const& message) {
        app.troubleBegins(Trouble::microphone, T("Microphone: ", "Micro: ") + message, Place::banner);
    });
    services.mic.onRecovered = whileAlive(self, [](AppDelegate& app) { app.troubleIsOver(Trouble::microphone); });
    services.muter.onError = whileAlive(
        self, [](AppDelegate& app, std::string const& message) { app.m_services.overlay.showStatus("⚠ " + message); });
}

void AppDelegate::wireEngine(Engine& engine, Direction direction)
{
    auto const self = weak_from_this();
    engine.onCaption.connect(whileAlive(self, [direction](AppDelegate& app, CaptionKind kind, std::string const& text) {
        app.caption(direction, kind, app.m_services.clean(text));
    }));
    engine.onLine.connect(whileAlive(self,
        [direction](
            AppDelegate& app, std::string const& source, std::string const& translation, std::string const& speaker) {
            app.onMain([=](AppDelegate& main) { main.line(direction, source, translation, speaker); });
        }));
    engine.onStatus.connect(
        whileAlive(self, [](AppDelegate& app, Engine::Status status, std::optional<std::string> const& message) {
            app.showEngineStatus(status, message);
        }));
    engine.player().onLevel = whileAlive(self, [direction](AppDelegate& app, double level) {
        app.onMain([level, direction](AppDelegate& main) {
            (direction == Direction::listen ? main.m_model.listenOutLevel : main.m_model.speakOutLevel) = level;
        });
    });
}

/// On the engine's thread.
void AppDelegate::caption(Direction direction, CaptionKind kind, std::string const& text)
{
    bool const original = kind == CaptionKind::original;
    if (direction == Direction::speak && !original) {
        m_services.overlay.update(CaptionKind::speak, text);
        return onMain([text](AppDelegate& self) { self.m_model.speakTranslated = text; });
    }
    // The user's own words are captioned only when two people share the microphone.
    if (direction == Direction::speak && !m_speakEngine->settings()->forceTwoWay)
        return;
    m_services.overlay.update(kind, text);
    onMain([text, original](
               AppDelegate& self) { (original ? self.m_model.listenOriginal : self.m_model.listenTranslated) = text; });
}

void AppDelegate::line(
    Direction direction, std::string const& source, std::string const& translation, std::string const& speaker)
{
    auto const& clean = m_services.clean;
    m_model.log(direction, clean(source), clean(translation), clean(speaker), m_services.main.date());
    if (m_running)
        return;
    bool const stood = m_status.stands(StatusLine::Trouble::keeping);
    m_keeping.keepLate();
    if (stood && !m_status.stands(StatusLine::Trouble::keeping))
        m_status.say("", Kind::idle);
}

/// On the engine's threads, or main.
void AppDelegate::showEngineStatus(Engine::Status status, std::optional<std::string> const& message)
{
    std::string text;
    auto kind = Kind::idle;
    switch (status) {
    case Engine::Status::ready:
        text = L10n::t("ready");
        kind = Kind::live;
        break;
    case Engine::Status::reconnecting:
        text = L10n::t("reconnecting");
        kind = Kind::connecting;
        break;
    case Engine::Status::error:
        text = "⚠ " + m_services.clean(message.value_or(T("error", "lỗi")));
        kind = Kind::error;
        break;
    }
    // What a stream had said before it was told to stop must not stand after the stop.
    onMain([text, kind](AppDelegate& self) {
        if (self.m_running)
            self.m_status.sayOfStreams(text, kind);
    });
    m_services.overlay.showStatus(text);
}

/// On any thread.
void AppDelegate::troubleBegins(StatusLine::Trouble trouble, std::string const& message, StatusLine::Place place)
{
    m_services.overlay.showStatus("⚠ " + message);
    onMain([=](AppDelegate& self) {
        if (trouble == StatusLine::Trouble::microphone ? self.m_speakActive : self.m_listenActive)
            self.m_status.begin(trouble, message, place);
    });
}

/// On any thread. The panel, which showed the trouble, goes back to what the status says.
void AppDelegate::troubleIsOver(StatusLine::Trouble trouble)
{
    onMain([trouble](AppDelegate& self) {
        if (!self.m_status.stands(trouble))
            return;
        self.m_status.end(trouble);
        if (self.m_running)
            self.m_services.overlay.showStatus(*self.m_model.status);
    });
}

void AppDelegate::installCommands()
{
    auto const self = weak_from_this();
    auto const calling = [self](auto operation) { return whileAlive(self, std::mem_fn(operation)); };
    auto& commands = m_model.commands;
    commands.start = calling(&AppDelegate::startFromUI);
    commands.stop = calling(&AppDelegate::stopFromUI);
    commands.applySettings = calling(&AppDelegate::applyFromUI);
    commands.pickMic = calling(&AppDelegate::setMicDevice);
    commands.pickSpeakOut = calling(&AppDelegate::setSpeakDevice);
    commands.pickListenOut = calling(&AppDelegate::setListenDevice);
    commands.installDriver
        = whileAlive(self, [](AppDelegate& app) { app.m_driverOffer.install([&app] { app.m_routing.publish(); }); });
    commands.refreshDevices = calling(&AppDelegate::refreshDeviceLists);
    commands.restartApp = calling(&AppDelegate::restartApp);
    commands.applyPreset = calling(&AppDelegate::applyPreset);
    commands.testVoice = whileAlive(
        self, [](AppDelegate& app, std::function<void()> done) { app.m_oneShots.testVoice(std::move(done)); });
    commands.typeToSpeak
        = whileAlive(self, [](AppDelegate& app, std::string const& text, std::function<void(std::string const&)> done) {
              app.m_oneShots.typeToSpeak(text, OneShots::OneLanguage::translated, std::move(done));
          });
    commands.replayLast = whileAlive(self, [](AppDelegate& app) { app.m_oneShots.replayLast(); });
    commands.summarizeRecent = whileAlive(self, [](AppDelegate& app) { app.m_oneShots.summarizeRecent(recapSpan); });
    m_model.settings = m_settings;
}

void AppDelegate::startTicking()
{
    auto& main = m_services.main;
    main.stopTimer(m_tick);
    m_tick = main.startTimer(main.now() + tickTime, whileAlive(weak_from_this(), [](AppDelegate& app) {
        if (*app.m_model.startedAt)
            app.m_model.elapsed = toSeconds(app.m_services.main.now() - app.m_startedAt);
        app.startTicking();
    }));
}

/// An application without a profile of its own keeps the last one.
void AppDelegate::watchFrontApplication()
{
    m_appWatch = m_services.workspace.watchFrontApplication(
        whileAlive(weak_from_this(), [](AppDelegate& app, std::string const& id) {
            auto const& profiles = app.m_settings.perAppProfiles;
            auto const found = profiles.find(id);
            if (found == profiles.end() || found->second == *app.m_model.activeProfileID)
                return;
            app.m_model.activeProfileID = found->second;
            app.m_model.saveProfiles();
            app.applyFromUI();
        }));
}

bool AppDelegate::applicationShouldTerminate()
{
    m_services.shell.tearDownPresentations();
    return true;
}

void AppDelegate::quitNow()
{
    m_quitting = true;
    stopFromUI();
    m_routing.restoreDefaultInput();
    m_services.shell.tearDownPresentations();
    auto& main = m_services.main;
    main.post([&shell = m_services.shell] { shell.terminate(); });
    main.stopTimer(m_exitBackstop);
    m_exitBackstop = main.startTimer(main.now() + exitBackstop, [&shell = m_services.shell] { shell.exit(); });
}

void AppDelegate::restartApp()
{
    m_services.workspace.openAnotherInstance(whileAlive(weak_from_this(), [](AppDelegate& app) {
        auto& main = app.m_services.main;
        main.startTimer(
            main.now() + restartDelay, whileAlive(app.weak_from_this(), std::mem_fn(&AppDelegate::quitNow)));
    }));
}

void AppDelegate::shutdown()
{
    m_quitting = true;
    m_services.main.stopTimer(m_exitBackstop);
    m_tasks.cancel();
    m_oneShots.shutdown();
}

void AppDelegate::onMain(std::function<void(AppDelegate&)> job)
{
    m_services.main.post(whileAlive(weak_from_this(), std::move(job)));
}

} // namespace lingrelay
