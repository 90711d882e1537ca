#pragma once

#include "model/AppModel.h"
#include "ui/Bridge.h"

#include <QVariantList>

namespace lingrelay {

class HostedSession;

/// The model for the views, and its commands; main. The model outlives it.
class AppBridge final : public QObject {
    Q_OBJECT
    AppModel& m_model;
    LINGRELAY_BRIDGED(bool, running)
    LINGRELAY_BRIDGED(QString, status)
    LINGRELAY_BRIDGED(QString, statusKind) ///< "idle", "connecting", "live", "warning", "error"
    LINGRELAY_BRIDGED(QString, listenOriginal)
    LINGRELAY_BRIDGED(QString, listenTranslated)
    LINGRELAY_BRIDGED(QString, speakTranslated)
    LINGRELAY_BRIDGED(QString, quickSummary)
    LINGRELAY_BRIDGED(bool, summarizing)
    LINGRELAY_BRIDGED(bool, typing)
    LINGRELAY_BRIDGED(bool, talking)
    LINGRELAY_BRIDGED(double, micLevel)
    LINGRELAY_BRIDGED(double, systemLevel)
    LINGRELAY_BRIDGED(double, listenOutLevel)
    LINGRELAY_BRIDGED(double, speakOutLevel)
    LINGRELAY_BRIDGED(bool, virtualInstalled)
    Q_PROPERTY(bool english READ english NOTIFY languageChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusTextChanged) ///< never empty
    Q_PROPERTY(QString elapsed READ elapsed NOTIFY elapsedChanged)
    Q_PROPERTY(QString balance READ balance NOTIFY balanceChanged) ///< empty without a hosted session
    // Choices are objects of `value`, `text` and `mark`; a device is its id, "" stands for the system's default.
    Q_PROPERTY(QVariantList microphones READ microphones NOTIFY devicesChanged)
    Q_PROPERTY(QVariantList speakOutputs READ speakOutputs NOTIFY devicesChanged)
    Q_PROPERTY(QVariantList listenOutputs READ listenOutputs NOTIFY devicesChanged)
    Q_PROPERTY(bool devicesKnown READ devicesKnown NOTIFY devicesChanged) ///< they have been looked at, if only in vain
    Q_PROPERTY(QString microphone READ microphone NOTIFY devicesChanged)
    Q_PROPERTY(QString speakOutput READ speakOutput NOTIFY devicesChanged)
    Q_PROPERTY(QString listenOutput READ listenOutput NOTIFY devicesChanged)
    Q_PROPERTY(QVariantList languages READ languages NOTIFY languageChanged) ///< the first is "auto"
    Q_PROPERTY(QVariantList presets READ presets NOTIFY languageChanged) ///< of `value`, `text`, `subtitle`
    Q_PROPERTY(QString profileName READ profileName NOTIFY profileChanged) ///< "None" without an active profile
    Q_PROPERTY(QString profileCounts READ profileCounts NOTIFY profileChanged) ///< empty for an empty profile
    Q_PROPERTY(QString ownKey READ ownKey WRITE setOwnKey NOTIFY ownKeyChanged)
    Q_PROPERTY(bool testing READ testing NOTIFY testingChanged)
    Q_PROPERTY(QString version READ version CONSTANT)

public:
    explicit AppBridge(AppModel& model);
    /// From now on its service time is shown. It outlives the bridge.
    void setHosted(HostedSession& hosted);

    bool english() const { return m_model.settings->uiLang == "en"; }
    QString statusText() const;
    QString elapsed() const { return toQt(m_model.elapsedString()); }
    QString balance() const;
    bool devicesKnown() const { return m_devicesKnown; }
    QVariantList microphones() const;
    QVariantList speakOutputs() const;
    QVariantList listenOutputs() const;
    QString microphone() const;
    QString speakOutput() const;
    QString listenOutput() const;
    QVariantList languages() const;
    QVariantList presets() const;
    QString profileName() const;
    QString profileCounts() const;
    QString ownKey() const;
    void setOwnKey(QString const& key);
    bool testing() const { return m_testing; }
    QString version() const;

    Q_INVOKABLE QString languageName(QString const& code) const;
    Q_INVOKABLE void start() { m_model.commands.start(); }
    Q_INVOKABLE void stop() { m_model.commands.stop(); }
    Q_INVOKABLE void installDriver() { m_model.commands.installDriver(); }
    Q_INVOKABLE void refreshDevices() { m_model.commands.refreshDevices(); }
    Q_INVOKABLE void pickMic(QString const& device) { m_model.commands.pickMic(deviceId(device)); }
    Q_INVOKABLE void pickSpeakOut(QString const& device) { m_model.commands.pickSpeakOut(deviceId(device)); }
    Q_INVOKABLE void pickListenOut(QString const& device) { m_model.commands.pickListenOut(deviceId(device)); }
    Q_INVOKABLE void testVoice();
    Q_INVOKABLE void typeToSpeak(QString const& text) { m_model.commands.typeToSpeak(text.toStdString(), [](std::string const&) {}); }
    Q_INVOKABLE void replayLast() { m_model.commands.replayLast(); }
    Q_INVOKABLE void summarizeRecent() { m_model.commands.summarizeRecent(); }
    Q_INVOKABLE void applyPreset(QString const& preset);
    Q_INVOKABLE void clearTranscript() { m_model.transcript = std::vector<AppModel::Line>(); }
    /// "txt" or "srt"; the whole transcript.
    Q_INVOKABLE QString transcriptAs(QString const& extension) const;

    Q_SIGNAL void languageChanged();
    Q_SIGNAL void statusTextChanged();
    Q_SIGNAL void elapsedChanged();
    Q_SIGNAL void balanceChanged();
    Q_SIGNAL void devicesChanged();
    Q_SIGNAL void profileChanged();
    Q_SIGNAL void ownKeyChanged();
    Q_SIGNAL void testingChanged();

private:
    static std::optional<std::uint32_t> deviceId(QString const& device);

    std::vector<Subscription> m_watches;
    HostedSession* m_hosted = nullptr;
    Subscription m_balance;
    QString m_language;
    bool m_testing = false;
    bool m_devicesKnown = false;
};

} // namespace lingrelay
