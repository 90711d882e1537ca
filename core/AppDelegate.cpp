#include "core/AppDelegate.h"

#include "audio/EchoGuard.h"
#include "config/KeyStore.h"
#include "config/L10n.h"

namespace lingrelay {

using Mode = AppSettings::Mode;

void AppDelegate::startFromUI()
{
    if (m_running || m_starting)
        return;
    if (auto const problem = unable(m_settings); !problem.empty())
        return refuse({problem, {}});
    if (m_settings.mode != Mode::speak && !m_services.workspace.mayHearSystemAudio()) {
        m_status.say(T("Screen recording permission needed", "Cần quyền thu âm màn hình"), Kind::warning);
        m_model.needsPermissions = true;
        return;
    }
    m_driverOffer.askIfMissed(m_settings);
    if (m_running || m_starting || m_quitting) // begun elsewhere, or ended, while the question was open
        return;
    if (Secrets::byokActive())
        return beginRun();
    m_starting = true;
    m_status.say(T("Connecting…", "Đang kết nối…"), Kind::connecting);
    m_tasks.spawn(startHosted());
}

Task<void> AppDelegate::startHosted()
{
    auto taken = co_await m_lease.take();
    m_starting = false;
    if (m_quitting)
        co_return;
    if (auto* hold = std::get_if<HostedLease::Hold>(&taken)) {
        m_session = std::move(*hold);
        beginRun();
        co_return;
    }
    refuse(std::get<HostedSession::Failure>(taken));
}

void AppDelegate::refuse(HostedSession::Failure failure)
{
    if (failure.code == "at_capacity")
        failure.message = T("All translation slots are busy. Try again in a moment.",
            "Hệ thống đang bận hết chỗ. Vui lòng thử lại sau ít phút.");
    auto const message = m_services.clean(failure.message);
    m_status.say(message, Kind::warning);
    m_services.overlay.showStatus("⚠ " + message);
    showPanel();
    if (onRefused)
        onRefused(failure);
}

void AppDelegate::beginRun()
{
    if (m_running)
        return;
    m_running = true;
    m_services.overlay.showStatus(L10n::t("running"));
    showPanel();
    applyMode();
    m_talkKey.configure(m_settings);
    m_services.shell.buildMenu();
    publishRunState();
    m_keeping.begin();
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
    m_status.end(StatusLine::Trouble::systemAudio);
    m_listenActive = false;
}

void AppDelegate::startSpeak()
{
    m_routing.beginSpeaking();
    m_services.mic.start();
    m_speakEngine->start(m_settings.speakRecord());
    m_speakActive = true;
}

void AppDelegate::stopSpeak()
{
    m_services.mic.stop();
    m_speakEngine->stop();
    m_routing.endSpeaking();
    m_status.end(StatusLine::Trouble::microphone);
    m_speakActive = false;
}

void AppDelegate::stopFromUI()
{
    if (!m_running)
        return;
    m_running = false;
    m_session = {};
    bool const kept = m_keeping.end(); // before the start time is cleared
    m_talkKey.stop();
    if (m_listenActive)
        stopListen();
    if (m_speakActive)
        stopSpeak();
    m_services.shell.buildMenu();
    publishRunState();
    m_status.forgetStreams();
    m_status.say(kept ? "" : *m_model.banner, kept ? Kind::idle : Kind::error);
}

void AppDelegate::providerReplaced()
{
    if (m_running && HostedSession::shared().active())
        m_tasks.spawn(joinAgain());
}

Task<void> AppDelegate::joinAgain()
{
    auto const failure = co_await m_lease.renew();
    if (!m_running)
        co_return;
    if (failure)
        m_status.say(m_services.clean(failure->message), Kind::error);
    else
        restartStreamsForContext();
}

void AppDelegate::serviceTimeIsOver()
{
    stopFromUI();
    auto const message = T("Your service time has run out.", "Bạn đã dùng hết thời gian dịch vụ.");
    m_status.say(message, Kind::warning);
    m_services.overlay.showStatus("⏱ " + message);
    if (onExhausted)
        onExhausted(message);
}

void AppDelegate::restartStreamsForContext()
{
    m_listenEngine->contextProfile = m_speakEngine->contextProfile = m_model.activeProfile();
    if (m_listenActive)
        m_listenEngine->start(listenRecord());
    if (m_speakActive)
        m_speakEngine->start(m_settings.speakRecord());
    m_keeping.describe();
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
    m_keeping.describe();
}

void AppDelegate::applyPreset(Preset preset)
{
    apply(preset, m_settings);
    m_settings.save();
    m_model.settings = m_settings;
    adoptLanguageAndGuard();
    m_routing.adoptPreset(preset);
    if (m_running) {
        if (m_listenActive)
            stopListen();
        if (m_speakActive)
            stopSpeak();
        applyMode();
        m_talkKey.configure(m_settings);
    }
    m_routing.publish();
    m_services.shell.buildMenu();
    m_services.overlay.showStatus(preset == Preset::videoCall
            ? T("Now pick “Lingrelay” as the microphone inside Meet / Zoom / Zalo",
                "Giờ vào Meet / Zoom / Zalo chọn micro là “Lingrelay”")
            : title(preset));
    showPanel();
    m_keeping.describe();
}

void AppDelegate::setMicDevice(Routing::Device device)
{
    m_routing.pickMic(device);
    m_routing.publish();
    m_services.shell.buildMenu();
}

void AppDelegate::setListenDevice(Routing::Device device)
{
    m_routing.pickListenOutput(device);
    m_routing.publish();
    m_services.shell.buildMenu();
}

void AppDelegate::setSpeakDevice(Routing::Device device)
{
    m_routing.pickSpeakOutput(device);
    m_routing.publish();
    m_services.shell.buildMenu();
}

void AppDelegate::adoptLanguageAndGuard()
{
    UiLanguage::shared().setLang(m_settings.uiLang);
    EchoGuard::shared().setEnabled(m_settings.echoGuard);
}

void AppDelegate::publishRunState()
{
    m_model.running = m_running;
    m_model.settings = m_settings;
    if (m_running && !*m_model.startedAt) {
        m_startedAt = m_services.main.now();
        m_model.startedAt = m_services.main.date();
        m_model.elapsed = 0;
    }
    if (!m_running) {
        m_model.startedAt = std::nullopt;
        m_model.elapsed = 0;
    }
    m_routing.publish();
}

void AppDelegate::showPanel()
{
    if (m_settings.showOverlay)
        m_services.overlay.orderFrontRegardless();
}

} // namespace lingrelay
