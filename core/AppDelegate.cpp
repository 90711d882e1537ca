#include "core/AppDelegate.h"

#include "base/Log.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "audio/EchoGuard.h"

namespace lingrelay {

using Mode = AppSettings::Mode;

void AppDelegate::startFromUI()
{
    if (m_running || m_starting)
        return;
    if (m_settings.mode != Mode::speak && !m_services.workspace.mayHearSystemAudio()) {
        m_model.statusKind = Kind::warning;
        m_model.status = T("Screen recording permission needed", "Cần quyền thu âm màn hình");
        m_model.needsPermissions = true;
        return;
    }
    ensureDriverIfNeeded();
    if (m_running || m_starting || m_quitting) // begun elsewhere, or ended, while the question was open
        return;
    if (Secrets::byokActive())
        return beginRun();
    publishStatus(T("Connecting…", "Đang kết nối…"), Kind::connecting);
    m_starting = true;
    m_tasks.spawn(startHosted());
}

Task<void> AppDelegate::startHosted()
{
    auto failure = co_await HostedSession::shared().start();
    m_starting = false;
    if (!failure) {
        beginRun();
        co_return;
    }
    if (failure->code == "at_capacity")
        failure->message = T("All translation slots are busy. Try again in a moment.",
            "Hệ thống đang bận hết chỗ. Vui lòng thử lại sau ít phút.");
    auto const message = clean(failure->message);
    publishStatus(message, Kind::warning);
    m_services.overlay.showStatus("⚠ " + message);
    showPanel();
    if (onRefused)
        onRefused(*failure);
}

void AppDelegate::beginRun()
{
    if (m_running)
        return;
    m_running = true;
    m_services.overlay.showStatus(L10n::t("running"));
    showPanel();
    applyMode();
    configurePushToTalk();
    m_services.shell.buildMenu();
    publishRunState();
    if (auto const error = beginJournal())
        Log::write("[journal] {}", error->message);
}

void AppDelegate::applyMode()
{
    if (!m_running)
        return;
    bool const wantListen = m_settings.mode != Mode::speak;
    bool const wantSpeak = m_settings.mode != Mode::listen;
    if (wantListen != m_listenActive)
        wantListen ? startListen() : stopListen();
    if (wantSpeak != m_speakActive)
        wantSpeak ? startSpeak() : stopSpeak();
}

void AppDelegate::startListen()
{
    protectListener();
    m_services.capture.start();
    m_listenEngine->start(listenRecord());
    if (m_settings.muteOriginal)
        m_services.muter.start();
    m_listenActive = true;
}

void AppDelegate::stopListen()
{
    m_services.capture.stop();
    m_services.muter.stop();
    m_listenEngine->stop();
    m_listenActive = false;
}

void AppDelegate::startSpeak()
{
    auto const inputs = m_services.devices.inputs();
    routeSpeech(m_services.devices.outputs());
    auto const realMic = resolveRealMic(inputs);
    m_services.mic.setInputDevice(realMic);
    routeMic(inputs, realMic);
    m_services.mic.start();
    m_speakEngine->start(m_settings.speakRecord());
    m_speakActive = true;
}

void AppDelegate::stopSpeak()
{
    m_services.mic.stop();
    m_speakEngine->stop();
    restoreDefaultInput();
    m_speakActive = false;
}

void AppDelegate::stopFromUI()
{
    if (!m_running)
        return;
    m_running = false;
    HostedSession::shared().end();
    auto const problem = archiveSession(); // before the start time is cleared
    m_engineStatus = {};
    m_soundTrouble.clear();
    m_keepingTrouble.clear();
    m_services.ptt.stop();
    m_services.mic.setMuted(false);
    if (m_listenActive)
        stopListen();
    if (m_speakActive)
        stopSpeak();
    m_services.shell.buildMenu();
    publishRunState();
    publishStatus(problem ? notSaved(*problem) : "", problem ? Kind::error : Kind::idle);
}

void AppDelegate::providerReplaced()
{
    if (m_running && HostedSession::shared().active())
        m_tasks.spawn(joinAgain());
}

Task<void> AppDelegate::joinAgain()
{
    auto failure = co_await HostedSession::shared().start();
    if (!m_running) {
        if (!failure && !m_starting)
            HostedSession::shared().end();
        co_return;
    }
    if (failure)
        publishStatus(clean(failure->message), Kind::error);
    else
        restartStreamsForContext();
}

void AppDelegate::restartStreamsForContext()
{
    m_listenEngine->contextProfile = m_speakEngine->contextProfile = m_model.activeProfile();
    if (m_listenActive)
        m_listenEngine->start(listenRecord());
    if (m_speakActive)
        m_speakEngine->start(m_settings.speakRecord());
    describeSession();
}

void AppDelegate::applyFromUI()
{
    m_settings = *m_model.settings;
    m_settings.save();
    adoptLanguageAndGuard();
    for (auto const& engine : {m_listenEngine, m_speakEngine}) {
        engine->contextProfile = m_model.activeProfile();
        engine->useRollingContext = m_settings.rollingContext;
    }
    if (m_running) {
        m_listenEngine->applySettings(listenRecord());
        m_speakEngine->applySettings(m_settings.speakRecord());
    }
    m_services.shell.setStatusItemVisible(m_settings.menuBarIcon);
    if (!m_settings.showOverlay)
        m_services.overlay.orderOut();
    m_services.shell.buildMenu();
    describeSession();
}

void AppDelegate::applyPreset(Preset preset)
{
    apply(preset, m_settings);
    m_settings.save();
    m_model.settings = m_settings;
    adoptLanguageAndGuard();
    auto const device
        = preset == Preset::videoCall ? AudioDevices::virtualDevice(m_services.devices.outputs()) : std::nullopt;
    m_speakDevice = device;
    m_speakEngine->player().moveTo(device ? std::optional(device->id) : std::nullopt);
    m_ttsDevice.reset();
    m_listenEngine->player().moveTo({});
    if (m_running) {
        if (m_listenActive)
            stopListen();
        if (m_speakActive)
            stopSpeak();
        applyMode();
        configurePushToTalk();
    }
    refreshDeviceLists();
    m_services.shell.buildMenu();
    m_services.overlay.showStatus(preset == Preset::videoCall
            ? T("Now pick “Lingrelay” as the microphone inside Meet / Zoom / Zalo",
                "Giờ vào Meet / Zoom / Zalo chọn micro là “Lingrelay”")
            : title(preset));
    showPanel();
    describeSession();
}

void AppDelegate::adoptLanguageAndGuard()
{
    UiLanguage::shared().setLang(m_settings.uiLang);
    EchoGuard::shared().setEnabled(m_settings.echoGuard);
}

void AppDelegate::configurePushToTalk()
{
    auto& ptt = m_services.ptt;
    ptt.setKey(m_settings.pushToTalkKey);
    ptt.onChange = [weak = weak_from_this()](bool pressed) {
        auto const self = weak.lock();
        if (!self)
            return;
        self->m_model.talking = pressed;
        self->m_services.mic.setMuted(!pressed);
        self->m_services.overlay.showStatus(
            pressed ? T("● speaking", "● đang nói") : T("push to talk", "giữ phím để nói"));
    };
    ptt.stop();
    bool const gated = m_settings.pushToTalk && ptt.available() && m_running && m_settings.mode != Mode::listen;
    if (gated)
        ptt.start();
    m_services.mic.setMuted(gated);
    m_model.talking = !gated;
}

void AppDelegate::publishRunState()
{
    m_model.running = m_running;
    m_model.settings = m_settings;
    if (m_running && !*m_model.startedAt) {
        m_model.startedAt = m_services.main.date();
        m_model.elapsed = 0;
    }
    if (!m_running) {
        m_model.startedAt = std::nullopt;
        m_model.elapsed = 0;
    }
    refreshDeviceLists();
}

void AppDelegate::publishStatus(std::string const& text, Kind kind)
{
    onMain([text, kind](AppDelegate& self) {
        self.m_model.status = text;
        self.m_model.statusKind = kind;
    });
}

void AppDelegate::showPanel()
{
    if (m_settings.showOverlay)
        m_services.overlay.orderFrontRegardless();
}

} // namespace lingrelay
