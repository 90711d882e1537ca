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

QString deviceValue(std::optional<std::uint32_t> const& id) { return id ? QString::number(*id) : QString(); }

} // namespace

AppBridge::AppBridge(AppModel& model) : m_model(model), m_language(toQt(model.settings->uiLang))
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

QString AppBridge::statusText() const
{
    if (!m_model.status->empty())
        return status();
    return toQt(running() ? T("Running", "Đang chạy") : T("Idle", "Chưa chạy"));
}

QString AppBridge::balance() const
{
    auto const left = m_hosted ? *m_hosted->balance() : std::nullopt;
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

QVariantList AppBridge::languages() const
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
    m_model.commands.adoptKey();
    Q_EMIT ownKeyChanged();
}

QString AppBridge::version() const { return QStringLiteral(LINGRELAY_VERSION); }

QString AppBridge::languageName(QString const& code) const { return toQt(Catalog::name(code.toStdString())); }

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
