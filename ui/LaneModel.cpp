#include "ui/LaneModel.h"

#include "config/L10n.h"
#include "config/Languages.h"

namespace lingrelay {

namespace {

constexpr double audible = 0.04; ///< a level below it is the noise of a silent room

} // namespace

LaneModel::LaneModel(AppModel& model, AppModel::Direction direction)
    : m_model(model)
    , m_listens(direction == AppModel::Direction::listen)
    , m_in(m_listens ? &model.systemLevel : &model.micLevel)
    , m_out(m_listens ? &model.listenOutLevel : &model.speakOutLevel)
    , m_state(stateNow())
{
    auto const watch = [this](auto& observable, auto told) {
        m_watches.push_back(observable.observe([told](auto const&) { told(); }));
    };
    watch(m_model.settings, [this] { Q_EMIT settingsChanged(); });
    watch(m_model.running, [this] { takeLevels(); });
    watch(*m_in, [this] { takeLevels(); });
    watch(*m_out, [this] { takeLevels(); });
    if (m_listens)
        watch(m_model.listenOriginal, [this] { Q_EMIT wordsChanged(); });
    watch(m_listens ? m_model.listenTranslated : m_model.speakTranslated, [this] { Q_EMIT wordsChanged(); });
}

LaneModel::State LaneModel::stateNow() const
{
    bool const running = *m_model.running;
    return {running, running || outLevel() > 0, inLevel() > audible || outLevel() > audible};
}

void LaneModel::takeLevels()
{
    Q_EMIT levelsChanged();
    auto const before = std::exchange(m_state, stateNow());
    if (before != m_state)
        Q_EMIT stateChanged();
}

bool LaneModel::shown() const
{
    return m_model.settings->mode != (m_listens ? AppSettings::Mode::speak : AppSettings::Mode::listen);
}

QString LaneModel::title() const
{
    if (m_listens)
        return toQt(T("Listen — they speak, you understand", "Nghe — họ nói, bạn hiểu"));
    return toQt(bidirectional() ? T("In person — both of you, one computer", "Gặp trực tiếp — hai người, một máy")
                                : T("Speak — you talk, they understand", "Nói — bạn nói, họ hiểu"));
}

QString LaneModel::iconName() const
{
    return m_listens ? QStringLiteral("ear") : bidirectional() ? QStringLiteral("people") : QStringLiteral("mic-plus");
}

QString LaneModel::languages() const
{
    auto const& settings = *m_model.settings;
    return toQt(Catalog::name(m_listens ? settings.sourceLang : settings.myLang) + (bidirectional() ? " ⇄ " : " → ")
        + Catalog::name(m_listens ? settings.targetLang : settings.theirLang));
}

QString LaneModel::tint() const { return m_listens ? QStringLiteral("listen") : QStringLiteral("speak"); }

QString LaneModel::inLabel() const
{
    if (m_listens)
        return toQt(T("System audio", "Âm thanh hệ thống"));
    return toQt(bidirectional() ? T("Mic (both of you)", "Mic (cả hai người)") : T("Your microphone", "Micro của bạn"));
}

QString LaneModel::inIcon() const { return m_listens ? QStringLiteral("computer") : QStringLiteral("mic"); }

QString LaneModel::outLabel() const
{
    if (m_listens)
        return toQt(T("Your speakers", "Loa của bạn"));
    return toQt(bidirectional() ? T("Speakers", "Loa ngoài") : T("Virtual mic → call", "Mic ảo → cuộc gọi"));
}

QString LaneModel::outIcon() const
{
    return m_listens      ? QStringLiteral("headphones")
        : bidirectional() ? QStringLiteral("speaker")
                          : QStringLiteral("virtual-mic");
}

} // namespace lingrelay
