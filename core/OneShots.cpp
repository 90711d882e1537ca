#include "core/OneShots.h"

#include "base/Text.h"
#include "config/L10n.h"
#include "speech/SonioxTTS.h"
#include "text/Summarizer.h"
#include "text/TextTranslator.h"

namespace lingrelay {

namespace {

/// Half a minute of speech, so that the other side hears the beginning soon and no service refuses the length.
constexpr std::size_t longestPiece = 400;
constexpr double synthesisRate = 24000;

} // namespace

OneShots::OneShots(Services services, AppSettings const& settings)
    : m_services(std::move(services))
    , m_settings(settings)
    , m_tasks(m_services.main)
{
}

void OneShots::typeToSpeak(
    std::string text, OneLanguage oneLanguage, std::function<void(std::string const& unspoken)> done)
{
    m_tasks.spawn(speakTyped(std::move(text), oneLanguage, std::move(done)));
}

Task<void> OneShots::speakTyped(std::string text, OneLanguage oneLanguage, std::function<void(std::string const&)> done)
{
    auto const pieces = piecesOf(text, longestPiece);
    if (!pieces.empty()) {
        m_services.routing.routeTyped();
        m_services.model.typing = ++m_typed > 0;
    }
    std::string unspoken;
    HostedLease::Hold session;
    for (auto const& piece : pieces) {
        auto spoken = Spoken::no;
        if (unspoken.empty())
            spoken = co_await speakPiece(piece, oneLanguage, session);
        if (spoken == Spoken::yes)
            continue;
        if (!unspoken.empty())
            unspoken += ' ';
        unspoken += piece;
    }
    if (!pieces.empty())
        m_services.model.typing = --m_typed > 0;
    done(unspoken);
}

Task<OneShots::Spoken> OneShots::speakPiece(std::string piece, OneLanguage oneLanguage, HostedLease::Hold& session)
{
    auto const language = m_settings.theirLang;
    auto translated = Result<std::string>(piece);
    if (m_settings.myLang != language || oneLanguage == OneLanguage::translated) {
        auto const token = HostedSession::shared().clientToken();
        translated = co_await TextTranslator::translate(piece, m_settings.myLang, language, token);
    }
    if (!translated) {
        m_services.status.say(m_services.clean(translated.error().message), AppModel::StatusKind::warning);
        co_return Spoken::no;
    }
    if (translated->empty())
        co_return Spoken::no;
    m_services.overlay.update(CaptionKind::speak, *translated);
    showPanel();
    auto& model = m_services.model;
    model.speakTranslated = *translated;
    model.log(AppModel::Direction::speak, piece, *translated, "", m_services.main.date());
    Speech speech{*translated, language};
    co_return co_await speakOnce(std::move(speech), m_services.speak, session);
}

void OneShots::replayLast()
{
    auto& overlay = m_services.overlay;
    auto const& transcript = *m_services.model.transcript;
    if (transcript.empty())
        return overlay.showStatus(T("Nothing to replay yet", "Chưa có gì để nghe lại"));
    auto const& line = transcript.back();
    bool const heard = line.direction == AppModel::Direction::listen;
    auto& speaker = heard ? m_services.listen : m_services.speak;
    // What the other side has heard must not go to it a second time.
    auto& player = heard || m_settings.forceTwoWay ? speaker : m_services.listen;
    auto language = speaker.lastSpokenLanguage();
    if (language.empty())
        language = heard ? m_settings.targetLang : m_settings.theirLang;
    overlay.showStatus(T("↺ replay", "↺ nghe lại"));
    m_tasks.spawn(replay({line.translation, language}, player));
}

Task<void> OneShots::replay(Speech speech, Engine& engine)
{
    HostedLease::Hold session;
    co_await speakOnce(std::move(speech), engine, session);
}

void OneShots::summarizeRecent(Duration span)
{
    auto& model = m_services.model;
    auto const cutoff = m_services.main.date() - std::chrono::duration_cast<Date::duration>(span);
    std::string text;
    for (auto const& line : *model.transcript) {
        if (line.at < cutoff)
            continue;
        // A language model reads these words, whatever the interface speaks.
        auto const* speaker = line.direction == AppModel::Direction::speak ? "YOU: " : "THEM: ";
        if (!text.empty())
            text += '\n';
        text += speaker;
        text += line.translation;
    }
    if (text.empty()) {
        model.quickSummary = T("Nothing was said in the last two minutes.", "Hai phút vừa rồi chưa có gì được nói.");
        return;
    }
    model.summarizing = true;
    m_services.shell.showMainWindow();
    m_tasks.spawn(recap(std::move(text)));
}

Task<void> OneShots::recap(std::string text)
{
    auto& model = m_services.model;
    auto const summary = co_await Summarizer::summarize(
        std::move(text), m_settings.targetLang, HostedSession::shared().clientToken(), "brief");
    model.quickSummary = summary ? *summary : m_services.clean(summary.error().message);
    model.summarizing = false;
}

void OneShots::testVoice(std::function<void()> done) { m_tasks.spawn(speakTest(std::move(done))); }

Task<void> OneShots::speakTest(std::function<void()> done)
{
    auto const text = T("This is a Lingrelay test. If you can hear this on the call, your setup is correct.",
        "Đây là câu kiểm tra của Lingrelay. Nếu bên kia nghe được câu này thì thiết lập đã đúng.");
    auto const language = UiLanguage::shared().modelEnglish() ? "en" : "vi";
    Speech speech{text, language, AppModel::StatusKind::error, T("Test voice failed: ", "Giọng thử lỗi: ")};
    HostedLease::Hold session;
    co_await speakOnce(std::move(speech), m_services.speak, session);
    done();
}

/// With the user's key, the running session's keys, or those of a session that is held for this alone.
Task<OneShots::Spoken> OneShots::speakOnce(Speech speech, Engine& engine, HostedLease::Hold& session)
{
    auto taken = co_await m_services.lease.take();
    if (auto const* failure = std::get_if<HostedSession::Failure>(&taken)) {
        m_services.status.say(m_services.clean(failure->message), AppModel::StatusKind::warning);
        co_return Spoken::no;
    }
    session = std::move(std::get<HostedLease::Hold>(taken));
    SonioxTTS::OnAudio const onAudio = [engine = engine.weak_from_this()](std::string const& pcm) {
        if (auto const alive = engine.lock())
            alive->player().enqueuePCM(pcm, synthesisRate, false);
    };
    SonioxTTS tts(m_services.network);
    auto const error
        = co_await tts.stream(speech.text, speech.language, m_settings.voiceName, m_settings.voiceSpeed, onAudio);
    if (!error)
        co_return Spoken::yes;
    m_services.status.say(speech.failurePrefix + m_services.clean(error->message), speech.failureKind);
    co_return Spoken::no;
}

void OneShots::showPanel()
{
    if (m_settings.showOverlay)
        m_services.overlay.orderFrontRegardless();
}

} // namespace lingrelay
