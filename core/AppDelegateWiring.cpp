// Launch, the ways of sound, text and status through the controller, and the end of the program.

#include "config/L10n.h"
#include "core/AppDelegate.h"
#include "audio/EchoGuard.h"

namespace lingrelay {

namespace {

using Direction = AppModel::Direction;

constexpr Duration recapSpan = seconds(120.0);
constexpr Duration tickTime = seconds(1.0);
constexpr Duration exitBackstop = seconds(1.0);
constexpr Duration restartDelay = seconds(0.4); ///< the other instance is up before this one goes

} // namespace

std::shared_ptr<AppDelegate> AppDelegate::create(Services services)
{
    return std::shared_ptr<AppDelegate>(new AppDelegate(services));
}

AppDelegate::AppDelegate(Services services)
    : m_services(services)
    , m_model(AppModel::shared())
    , m_listenEngine(Engine::create(services.listen))
    , m_speakEngine(Engine::create(services.speak))
    , m_settings(AppSettings::load())
    , m_tasks(services.main)
{
}

AppDelegate::~AppDelegate()
{
    for (auto const timer : {m_tick, m_driverTimer})
        m_services.main.stopTimer(timer);
}

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
        keepTranscript(lines);
    });
    refreshDeviceLists();
    startTicking();
    startAppWatcher();
    HostedSession::shared().onExhausted = [weak = weak_from_this()] {
        auto const self = weak.lock();
        if (!self)
            return;
        self->stopFromUI();
        auto const message = T("Your service time has run out.", "Bạn đã dùng hết thời gian dịch vụ.");
        self->publishStatus(message, Kind::warning);
        self->m_services.overlay.showStatus("⏱ " + message);
        if (self->onExhausted)
            self->onExhausted(message);
    };
    m_services.shell.showMainWindow();
}

void AppDelegate::wireSources()
{
    auto const weak = weak_from_this();
    auto& services = m_services;
    services.capture.onPCM = [weak](std::string pcm, std::function<void()> sent) {
        auto const self = weak.lock();
        if (!self)
            return;
        auto const level = self->m_sysMeter.feed(pcm);
        self->m_listenEngine->sendAudio(std::move(pcm), std::move(sent));
        EchoGuard::shared().bumpFarEnd(level);
        self->onMain([level](AppDelegate& main) { main.m_model.systemLevel = level; });
    };
    services.mic.onPCM = [weak](std::string pcm, std::function<void()> sent) {
        auto const self = weak.lock();
        if (!self)
            return;
        auto const level = self->m_micMeter.feed(pcm);
        self->m_speakEngine->sendAudio(std::move(pcm), std::move(sent));
        self->onMain([level](AppDelegate& main) { main.m_model.micLevel = level; });
    };
    services.capture.onError = [weak](std::string const& message) {
        auto const self = weak.lock();
        if (!self)
            return;
        self->m_services.overlay.showStatus("⚠ " + message);
        self->onMain([message](AppDelegate& main) { main.tellTrouble(main.m_soundTrouble, message); });
    };
    services.capture.onRecovered = [weak] {
        if (auto const self = weak.lock())
            self->onMain([](AppDelegate& main) { main.troubleIsOver(main.m_soundTrouble); });
    };
    services.muter.onError = [weak](std::string const& message) {
        if (auto const self = weak.lock())
            self->m_services.overlay.showStatus("⚠ " + message);
    };
    services.mic.onError = [weak](std::string const& message) {
        if (auto const self = weak.lock())
            self->m_services.overlay.showStatus("⚠ " + T("Microphone: ", "Micro: ") + message);
    };
    services.mic.onRecovered = [weak] {
        if (auto const self = weak.lock())
            self->onMain([](AppDelegate& main) { main.m_services.overlay.showStatus(*main.m_model.status); });
    };
}

void AppDelegate::wireEngine(Engine& engine, Direction direction)
{
    auto const weak = weak_from_this();
    engine.onCaption = [weak, direction](std::string const& kind, std::string const& text) {
        if (auto const self = weak.lock())
            self->caption(direction, kind, self->clean(text));
    };
    engine.onLine
        = [weak, direction](std::string const& source, std::string const& translation, std::string const& speaker) {
              auto const self = weak.lock();
              if (!self)
                  return;
              self->onMain([=](AppDelegate& main) {
                  main.m_model.log(direction, main.clean(source), main.clean(translation), main.clean(speaker),
                      main.m_services.main.date());
              });
          };
    engine.player().onLevel = [weak, direction](double level) {
        auto const self = weak.lock();
        if (!self)
            return;
        self->onMain([level, direction](AppDelegate& main) {
            (direction == Direction::listen ? main.m_model.listenOutLevel : main.m_model.speakOutLevel) = level;
        });
    };
    engine.onStatus = [weak](std::string const& kind, std::optional<std::string> const& message) {
        if (auto const self = weak.lock())
            self->showEngineStatus(kind, message);
    };
}

/// On the engine's thread.
void AppDelegate::caption(Direction direction, std::string const& kind, std::string const& text)
{
    bool const original = kind == "original";
    if (direction == Direction::speak && !original) {
        m_services.overlay.update("speak", text);
        return onMain([text](AppDelegate& self) { self.m_model.speakTranslated = text; });
    }
    // The user's own words are captioned only when two people share the microphone.
    if (direction == Direction::speak && !m_speakEngine->settings()->forceTwoWay)
        return;
    m_services.overlay.update(kind, text);
    onMain([text, original](
               AppDelegate& self) { (original ? self.m_model.listenOriginal : self.m_model.listenTranslated) = text; });
}

void AppDelegate::showEngineStatus(std::string const& kind, std::optional<std::string> const& message)
{
    auto text = kind;
    auto statusKind = Kind::idle;
    if (kind == "ready") {
        text = L10n::t("ready");
        statusKind = Kind::live;
    } else if (kind == "reconnecting") {
        text = L10n::t("reconnecting");
        statusKind = Kind::connecting;
    } else if (kind == "error") {
        text = "⚠ " + clean(message.value_or(T("error", "lỗi")));
        statusKind = Kind::error;
    }
    onMain([text, statusKind](AppDelegate& self) {
        self.m_engineStatus = {text, statusKind};
        auto const& trouble = self.m_keepingTrouble.empty() ? self.m_soundTrouble : self.m_keepingTrouble;
        bool const stands = statusKind == Kind::live && !trouble.empty();
        self.m_model.status = stands ? trouble : text;
        self.m_model.statusKind = stands ? Kind::warning : statusKind;
    });
    m_services.overlay.showStatus(text);
}

/// Beside the streams, which may be well meanwhile.
void AppDelegate::tellTrouble(std::string& trouble, std::string const& message)
{
    trouble = message;
    m_model.status = message;
    m_model.statusKind = Kind::warning;
}

void AppDelegate::troubleIsOver(std::string& trouble)
{
    auto const told = std::exchange(trouble, {});
    if (told.empty() || !m_running || *m_model.status != told)
        return;
    m_model.status = m_engineStatus.text;
    m_model.statusKind = m_engineStatus.kind;
    m_services.overlay.showStatus(m_engineStatus.text);
}

void AppDelegate::installCommands()
{
    auto const weak = weak_from_this();
    auto const calling = [weak](auto operation) {
        return [weak, operation](auto... arguments) {
            if (auto const self = weak.lock())
                ((*self).*operation)(arguments...);
        };
    };
    auto& commands = m_model.commands;
    commands.start = calling(&AppDelegate::startFromUI);
    commands.stop = calling(&AppDelegate::stopFromUI);
    commands.applySettings = calling(&AppDelegate::applyFromUI);
    commands.pickMic = calling(&AppDelegate::setMicDevice);
    commands.pickSpeakOut = calling(&AppDelegate::setSpeakDevice);
    commands.pickListenOut = calling(&AppDelegate::setListenDevice);
    commands.installDriver = [weak] {
        auto const self = weak.lock();
        if (!self)
            return;
        self->installDriver();
        self->refreshDeviceLists();
    };
    commands.refreshDevices = calling(&AppDelegate::refreshDeviceLists);
    commands.testVoice = calling(&AppDelegate::testVoice);
    commands.typeToSpeak = [weak](std::string const& text) {
        if (auto const self = weak.lock())
            self->typeToSpeak(text, OneLanguage::translated);
    };
    commands.replayLast = calling(&AppDelegate::replayLast);
    commands.summarizeRecent = [weak] {
        if (auto const self = weak.lock())
            self->summarizeRecent(recapSpan);
    };
    commands.restartApp = calling(&AppDelegate::restartApp);
    commands.applyPreset = calling(&AppDelegate::applyPreset);
    m_model.settings = m_settings;
}

void AppDelegate::startTicking()
{
    auto& main = m_services.main;
    main.stopTimer(m_tick);
    m_tick = main.startTimer(main.now() + tickTime, [weak = weak_from_this()] {
        auto const self = weak.lock();
        if (!self)
            return;
        if (auto const& startedAt = *self->m_model.startedAt)
            self->m_model.elapsed = toSeconds(self->m_services.main.date() - *startedAt);
        self->startTicking();
    });
}

void AppDelegate::startAppWatcher()
{
    m_appWatch = m_services.workspace.watchFrontApplication([weak = weak_from_this()](std::string const& id) {
        auto const self = weak.lock();
        if (!self)
            return;
        // An application without a profile of its own keeps the last one.
        auto const& profiles = self->m_settings.perAppProfiles;
        auto const found = profiles.find(id);
        if (found == profiles.end() || found->second == *self->m_model.activeProfileID)
            return;
        self->m_model.activeProfileID = found->second;
        self->m_model.saveProfiles();
        self->applyFromUI();
    });
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
    restoreDefaultInput();
    m_services.shell.tearDownPresentations();
    auto& main = m_services.main;
    main.post([&shell = m_services.shell] { shell.terminate(); });
    main.startTimer(main.now() + exitBackstop, [&shell = m_services.shell] { shell.exit(); });
}

void AppDelegate::restartApp()
{
    m_services.workspace.openAnotherInstance([weak = weak_from_this()] {
        auto const self = weak.lock();
        if (!self)
            return;
        auto& main = self->m_services.main;
        main.startTimer(main.now() + restartDelay, [weak] {
            if (auto const later = weak.lock())
                later->quitNow();
        });
    });
}

void AppDelegate::shutdown() { m_tasks.cancel(); }

void AppDelegate::onMain(std::function<void(AppDelegate&)> job)
{
    m_services.main.post([weak = weak_from_this(), job = std::move(job)] {
        if (auto const self = weak.lock())
            job(*self);
    });
}

} // namespace lingrelay
