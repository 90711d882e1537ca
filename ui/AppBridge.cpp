#include "ui/AppBridge.h"

#include "base/Text.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "config/Languages.h"
#include "platform/Defaults.h"
#include "sessions/TranscriptForms.h"
#include "speech/HostedSession.h"

#include <QPointer>

namespace lingrelay {

namespace {

constexpr auto keyOfProvider = "k.soniox";

QVariantMap choice(std::string const& value, std::string const& text, std::string const& mark = {})
{
    return {{QStringLiteral("value"), toQt(value)}, {QStringLiteral("text"), toQt(text)},
        {QStringLiteral("mark"), toQt(mark)}};
}

/// How the state of the run looks: a shape and colours, of which none says more than the others.
struct StatusLook {
    char const* shape;
    char const* colour;
    char const* textColour;
};

StatusLook lookOf(AppModel::StatusKind kind)
{
    switch (kind) {
    case AppModel::StatusKind::idle:
        return {"ring", "disabled", "text"};
    case AppModel::StatusKind::connecting:
        return {"ring", "brandText", "text"};
    case AppModel::StatusKind::live:
        return {"dot", "good", "text"};
    case AppModel::StatusKind::warning:
        return {"triangle", "warning", "warning"};
    case AppModel::StatusKind::error:
        return {"cross", "error", "error"};
    }
    return {"ring", "disabled", "text"};
}

char const* iconOf(Preset preset)
{
    switch (preset) {
    case Preset::videoCall:
        return "video";
    case Preset::watchVideo:
        return "play-rectangle";
    case Preset::inPerson:
        return "people";
    case Preset::textChat:
        return "keyboard";
    }
    return "";
}

enum class VirtualDevice { hidden, recommended };

QVariantList deviceChoices(std::vector<AudioDevice> const& devices, VirtualDevice virtualDevice)
{
    QVariantList choices{choice("", T("System default", "Theo mặc định hệ thống"))};
    for (auto const& device : devices) {
        bool const ours = AudioDevices::isVirtual(device);
        if (ours && virtualDevice == VirtualDevice::hidden)
            continue;
        choices << choice(std::to_string(device.id), device.name, ours ? T("Recommended", "Nên dùng") : std::string());
    }
    return choices;
}

QString nameOf(QVariantList const& choices, QString const& value)
{
    auto const text = [](QVariant const& choice) { return choice.toMap()[QStringLiteral("text")].toString(); };
    for (auto const& choice : choices) {
        if (choice.toMap()[QStringLiteral("value")].toString() == value)
            return text(choice);
    }
    return text(choices.front());
}

QString deviceValue(std::optional<std::uint32_t> const& id) { return id ? QString::number(*id) : QString(); }

} // namespace

AppBridge::AppBridge(AppModel& model)
    : m_model(model)
    , m_language(toQt(model.settings->uiLang))
    , m_adoptedKey(Secrets::key())
{
    auto const tell = [this](auto& observable, auto signal) {
        m_watches.push_back(observable.observe([this, signal](auto const&) { Q_EMIT(this->*signal)(); }));
    };
    for (auto* devices : {&m_model.inputDevices, &m_model.outputDevices})
        tell(*devices, &AppBridge::devicesChanged);
    for (auto* picked : {&m_model.micDeviceID, &m_model.speakDeviceID, &m_model.listenOutDeviceID})
        tell(*picked, &AppBridge::devicesChanged);
    tell(m_model.status, &AppBridge::statusTextChanged);
    tell(m_model.running, &AppBridge::statusTextChanged);
    tell(m_model.statusKind, &AppBridge::statusKindChanged);
    tell(m_model.typing, &AppBridge::draftChanged);
    tell(m_model.running, &AppBridge::elapsedChanged);
    m_watches.push_back(m_model.virtualInstalled.observe([this](bool) { // said each time, after the lists
        if (!std::exchange(m_devicesKnown, true))
            Q_EMIT devicesChanged();
    }));
    tell(m_model.elapsed, &AppBridge::elapsedChanged);
    tell(m_model.profiles, &AppBridge::profileChanged);
    tell(m_model.activeProfileID, &AppBridge::profileChanged);
    m_watches.push_back(m_model.settings.observe([this](AppSettings const& settings) {
        if (m_language == toQt(settings.uiLang))
            return;
        m_language = toQt(settings.uiLang);
        for (auto const signal :
            {&AppBridge::languageChanged, &AppBridge::statusTextChanged, &AppBridge::elapsedChanged,
                &AppBridge::balanceChanged, &AppBridge::devicesChanged, &AppBridge::profileChanged})
            Q_EMIT(this->*signal)();
    }));
}

void AppBridge::setHosted(HostedSession& hosted)
{
    m_hosted = &hosted;
    m_balance = hosted.balance().observe([this](auto const&) { Q_EMIT balanceChanged(); });
    Q_EMIT balanceChanged();
}

void AppBridge::setLocalService(bool local)
{
    m_localService = local;
    Q_EMIT localServiceChanged();
    Q_EMIT balanceChanged();
}

QString AppBridge::statusText() const
{
    auto text = toQt(m_model.statusText());
    auto const mark = QStringLiteral("● ");
    return text.startsWith(mark) ? text.mid(mark.size()) : text;
}

QString AppBridge::statusShape() const { return toQt(lookOf(*m_model.statusKind).shape); }
QString AppBridge::statusColour() const { return toQt(lookOf(*m_model.statusKind).colour); }
QString AppBridge::statusTextColour() const { return toQt(lookOf(*m_model.statusKind).textColour); }

QString AppBridge::balance() const
{
    auto const left = m_hosted && !m_localService ? *m_hosted->balance() : std::nullopt;
    return left ? toQt(HostedSession::format(*left) + T(" left", " còn lại")) : QString();
}

QVariantList AppBridge::microphones() const { return deviceChoices(*m_model.inputDevices, VirtualDevice::hidden); }
QVariantList AppBridge::speakOutputs() const
{
    return deviceChoices(*m_model.outputDevices, VirtualDevice::recommended);
}
QVariantList AppBridge::listenOutputs() const { return deviceChoices(*m_model.outputDevices, VirtualDevice::hidden); }
QString AppBridge::microphone() const { return deviceValue(*m_model.micDeviceID); }
QString AppBridge::speakOutput() const { return deviceValue(*m_model.speakDeviceID); }
QString AppBridge::listenOutput() const { return deviceValue(*m_model.listenOutDeviceID); }

std::optional<std::uint32_t> AppBridge::deviceId(QString const& device)
{
    bool known = false;
    auto const id = device.toUInt(&known);
    return known ? std::optional<std::uint32_t>(id) : std::nullopt;
}

QString AppBridge::microphoneName() const { return nameOf(microphones(), microphone()); }
QString AppBridge::speakOutputName() const { return nameOf(speakOutputs(), speakOutput()); }

QString AppBridge::languageCount() const
{
    return m_localService ? QString() : QString::number(Catalog::languages().size());
}

QVariantList AppBridge::sourceLanguages() const
{
    QVariantList choices;
    for (auto const& language : Catalog::languages())
        choices << choice(language.code, language.name);
    return choices;
}

QVariantList AppBridge::presets() const
{
    QVariantList choices;
    for (auto const preset : allPresets) {
        if (preset == Preset::textChat) // nothing types into other programs yet
            continue;
        auto entry = choice(rawValue(preset), title(preset));
        entry.insert(QStringLiteral("subtitle"), toQt(subtitle(preset)));
        entry.insert(QStringLiteral("icon"), toQt(iconOf(preset)));
        choices << entry;
    }
    return choices;
}

QString AppBridge::profileName() const
{
    auto const profile = m_model.activeProfile();
    if (!profile)
        return toQt(T("None", "Không dùng"));
    return toQt(profile->name.empty() ? T("Untitled", "Không tên") : profile->name);
}

QString AppBridge::profileCounts() const
{
    auto const profile = m_model.activeProfile();
    if (!profile || profile->isEmpty())
        return {};
    return QStringLiteral("%1 · %2").arg(profile->terms.size()).arg(profile->glossary.size());
}

QString AppBridge::ownKey() const { return toQt(Secrets::key()); }

void AppBridge::setOwnKey(QString const& key)
{
    auto const text = key.toStdString();
    auto const trimmed = std::string(trimWhitespace(text));
    if (trimmed == Secrets::key())
        return;
    KeyStore::d().set(keyOfProvider, trimmed);
    m_model.settings->save();
    Q_EMIT ownKeyChanged();
}

void AppBridge::adoptOwnKey()
{
    auto const key = Secrets::key();
    if (std::exchange(m_adoptedKey, key) != key)
        m_model.commands.adoptKey();
}

QString AppBridge::version() const { return QStringLiteral(LINGRELAY_VERSION); }

QString AppBridge::languageName(QString const& code) const { return toQt(Catalog::name(code.toStdString())); }

void AppBridge::toggleRun()
{
    if (*m_model.running)
        return m_model.commands.stop();
    if (std::exchange(m_starting, true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this, self = QPointer(this)] {
            m_model.commands.start();
            if (self)
                m_starting = false;
        },
        Qt::QueuedConnection);
}

void AppBridge::setDraft(QString const& text)
{
    if (text == m_draft)
        return;
    m_draft = text;
    Q_EMIT draftChanged();
}

bool AppBridge::mayBeSaid() const { return !*m_model.typing && !m_draft.trimmed().isEmpty(); }

void AppBridge::say()
{
    auto const text = m_draft;
    if (text.trimmed().isEmpty())
        return;
    setDraft({});
    m_model.commands.typeToSpeak(text.toStdString(), [self = QPointer(this)](std::string const& unspoken) {
        if (!self || unspoken.empty())
            return;
        auto const since = self->m_draft;
        self->setDraft(since.isEmpty() ? toQt(unspoken) : toQt(unspoken) + QChar::Space + since);
    });
}

void AppBridge::testVoice()
{
    if (m_testing)
        return;
    m_testing = true;
    Q_EMIT testingChanged();
    m_model.commands.testVoice([self = QPointer(this)] {
        if (!self)
            return;
        self->m_testing = false;
        Q_EMIT self->testingChanged();
    });
}

void AppBridge::applyPreset(QString const& preset)
{
    if (auto const known = presetFromRawValue(preset.toStdString()))
        m_model.commands.applyPreset(*known);
}

QString AppBridge::transcriptAs(QString const& extension) const
{
    auto const& lines = *m_model.transcript;
    if (extension == QStringLiteral("txt"))
        return toQt(TranscriptForms::text(lines));
    auto const& startedAt = *m_model.startedAt;
    return startedAt ? toQt(TranscriptForms::srt(lines, *startedAt)) : QString();
}

} // namespace lingrelay
