// What is done once, with or without a session: a typed line is spoken, the last one again, a recap, the voice tried.

#include "base/Text.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "core/AppDelegate.h"
#include "speech/SonioxTTS.h"
#include "text/Summarizer.h"
#include "text/TextTranslator.h"

namespace lingrelay {

void AppDelegate::typeToSpeak(std::string text, OneLanguage oneLanguage)
{
    m_tasks.spawn(speakTyped(std::move(text), oneLanguage));
}

void AppDelegate::testVoice(std::function<void()> done) { m_tasks.spawn(speakTest(std::move(done))); }

Task<void> AppDelegate::speakTyped(std::string text, OneLanguage oneLanguage)
{
    std::string const trimmed(trimWhitespace(text));
    if (trimmed.empty())
        co_return;
    if (!m_speakDevice && !m_settings.forceTwoWay) {
        if (auto const device = AudioDevices::virtualDevice(m_services.devices.outputs())) {
            m_speakDevice = device;
            m_speakEngine->player().moveTo(device->id);
            refreshDeviceLists();
        }
    }
    m_model.typing = ++m_typed > 0;
    auto const language = m_settings.theirLang;
    auto translated = Result<std::string>(trimmed);
    if (m_settings.myLang != language || oneLanguage == OneLanguage::translated) {
        auto const token = HostedSession::shared().clientToken();
        translated = co_await TextTranslator::translate(trimmed, m_settings.myLang, language, token);
    }
    if (!translated)
        publishStatus(clean(translated.error().message), Kind::warning);
    if (translated && !translated->empty()) {
        m_services.overlay.update("speak", *translated);
        showPanel();
        m_model.speakTranslated = *translated;
        m_model.log(AppModel::Direction::speak, trimmed, *translated, "", m_services.main.date());
        OneShotSpeech speech{*translated, language};
        co_await speakOnce(std::move(speech), *m_speakEngine);
    }
    m_model.typing = --m_typed > 0;
}

void AppDelegate::replayLast()
{
    auto& overlay = m_services.overlay;
    if (m_model.transcript->empty())
        return overlay.showStatus(T("Nothing to replay yet", "Chưa có gì để nghe lại"));
    auto const& line = m_model.transcript->back();
    bool const heard = line.direction == AppModel::Direction::listen;
    auto& speaker = heard ? *m_listenEngine : *m_speakEngine;
    // What the other side has heard must not go to it a second time.
    auto& player = heard || m_settings.forceTwoWay ? speaker : *m_listenEngine;
    auto language = speaker.lastSpokenLanguage();
    if (language.empty())
        language = heard ? m_settings.targetLang : m_settings.theirLang;
    overlay.showStatus(T("↺ replay", "↺ nghe lại"));
    m_tasks.spawn(speakOnce({line.translation, language}, player));
}

void AppDelegate::summarizeRecent(Duration span)
{
    auto const cutoff = m_services.main.date() - std::chrono::duration_cast<Date::duration>(span);
    std::string text;
    for (auto const& line : *m_model.transcript) {
        if (line.at < cutoff)
            continue;
        // A language model reads these words, whatever the interface speaks.
        auto const* speaker = line.direction == AppModel::Direction::speak ? "YOU: " : "THEM: ";
        text += (text.empty() ? "" : "\n") + (speaker + line.translation);
    }
    if (text.empty()) {
        m_model.quickSummary = T("Nothing was said in the last two minutes.", "Hai phút vừa rồi chưa có gì được nói.");
        return;
    }
    m_model.summarizing = true;
    m_services.shell.showMainWindow();
    m_tasks.spawn(recap(std::move(text)));
}

Task<void> AppDelegate::recap(std::string text)
{
    auto const summary = co_await Summarizer::summarize(
        std::move(text), m_settings.targetLang, HostedSession::shared().clientToken(), "brief");
    m_model.quickSummary = summary ? *summary : clean(summary.error().message);
    m_model.summarizing = false;
}

Task<void> AppDelegate::speakTest(std::function<void()> done)
{
    auto const text = T("This is a Lingrelay test. If you can hear this on the call, your setup is correct.",
        "Đây là câu kiểm tra của Lingrelay. Nếu bên kia nghe được câu này thì thiết lập đã đúng.");
    auto const language = UiLanguage::shared().modelEnglish() ? "en" : "vi";
    OneShotSpeech speech{text, language, Kind::error, T("Test voice failed: ", "Giọng thử lỗi: ")};
    co_await speakOnce(std::move(speech), *m_speakEngine);
    done();
}

/// With the user's key, the session's, or one that is opened for this alone.
Task<void> AppDelegate::speakOnce(OneShotSpeech speech, Engine& engine)
{
    while (m_oneShotOpens) // a second session would leave the first one open at the backend
        co_await m_oneShotOpened.wait();
    if (!Secrets::byokActive() && !HostedSession::shared().active()) {
        m_oneShotOpens = true;
        m_oneShotOpened.reset();
        auto const failure = co_await HostedSession::shared().start();
        m_oneShotOpens = false;
        m_oneShotOpened.set();
        if (failure) {
            publishStatus(clean(failure->message), Kind::warning);
            co_return;
        }
        m_oneShotSession = true;
    }
    ++m_oneShots;
    co_await stream(std::move(speech), engine.weak_from_this());
    // Others, or a session that began meanwhile, go on with these keys.
    if (--m_oneShots == 0 && std::exchange(m_oneShotSession, false) && !m_running && !m_starting)
        HostedSession::shared().end();
}

Task<void> AppDelegate::stream(OneShotSpeech speech, std::weak_ptr<Engine> engine)
{
    SonioxTTS::OnAudio const onAudio = [engine](std::string const& pcm) {
        if (auto const alive = engine.lock())
            alive->player().enqueuePCM(pcm, 24000, false);
    };
    SonioxTTS tts(m_services.speak.network);
    auto const error
        = co_await tts.stream(speech.text, speech.language, m_settings.voiceName, m_settings.voiceSpeed, onAudio);
    if (error)
        publishStatus(speech.failurePrefix + clean(error->message), speech.failureKind);
}

} // namespace lingrelay
