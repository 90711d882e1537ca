#pragma once

#include "model/AppModel.h"
#include "ui/Bridge.h"
#include "ui/LaneModel.h"

#include <QVariantList>

namespace lingrelay {

class HostedSession;

/// The model for the views, and its commands; main. The model outlives the bridge.
class AppBridge final : public QObject {
    Q_OBJECT
    AppModel& m_model;
    LINGRELAY_BRIDGED(bool, running)
    LINGRELAY_BRIDGED(QString, banner)
    LINGRELAY_BRIDGED(QString, quickSummary)
    LINGRELAY_BRIDGED(bool, summarizing)
    LINGRELAY_BRIDGED(bool, talking)
    LINGRELAY_BRIDGED(bool, virtualInstalled)
    Q_PROPERTY(bool english READ english NOTIFY languageChanged)
    Q_PROPERTY(
        QString statusText READ statusText NOTIFY statusTextChanged) ///< never empty; its mark is drawn beside it
    Q_PROPERTY(QString statusShape READ statusShape NOTIFY statusKindChanged) ///< "ring", "dot", "triangle", "cross"
    // Colours are the names that the theme has for them.
    Q_PROPERTY(QString statusColour READ statusColour NOTIFY statusKindChanged)
    Q_PROPERTY(QString statusTextColour READ statusTextColour NOTIFY statusKindChanged)
    Q_PROPERTY(LaneModel* listenLane READ listenLane CONSTANT)
    Q_PROPERTY(LaneModel* speakLane READ speakLane CONSTANT)
    Q_PROPERTY(QString elapsed READ elapsed NOTIFY elapsedChanged)
    Q_PROPERTY(QString balance READ balance NOTIFY balanceChanged) ///< empty without a session that is counted
    // Choices are objects of `value`, `text` and `mark`; a device is its id, "" stands for the system's default.
    Q_PROPERTY(QVariantList microphones READ microphones NOTIFY devicesChanged)
    Q_PROPERTY(QVariantList speakOutputs READ speakOutputs NOTIFY devicesChanged)
    Q_PROPERTY(QVariantList listenOutputs READ listenOutputs NOTIFY devicesChanged)
    Q_PROPERTY(bool devicesKnown READ devicesKnown NOTIFY devicesChanged) ///< they have been looked at, if only in vain
    Q_PROPERTY(QString microphone READ microphone NOTIFY devicesChanged)
    Q_PROPERTY(QString speakOutput READ speakOutput NOTIFY devicesChanged)
    Q_PROPERTY(QString listenOutput READ listenOutput NOTIFY devicesChanged)
    Q_PROPERTY(QString microphoneName READ microphoneName NOTIFY devicesChanged)
    Q_PROPERTY(QString speakOutputName READ speakOutputName NOTIFY devicesChanged)
    Q_PROPERTY(QVariantList sourceLanguages READ sourceLanguages NOTIFY languageChanged) ///< the first is "auto"
    Q_PROPERTY(QVariantList targetLanguages READ targetLanguages NOTIFY languageChanged)
    Q_PROPERTY(QString languageCount READ languageCount NOTIFY localServiceChanged) ///< empty where it says nothing
    Q_PROPERTY(QVariantList presets READ presets NOTIFY languageChanged) ///< of `value`, `text`, `subtitle`, `icon`
    Q_PROPERTY(QString profileName READ profileName NOTIFY profileChanged) ///< "None" without an active profile
    Q_PROPERTY(QString profileCounts READ profileCounts NOTIFY profileChanged) ///< empty for an empty profile
    Q_PROPERTY(QString ownKey READ ownKey WRITE setOwnKey NOTIFY ownKeyChanged)
    Q_PROPERTY(bool testing READ testing NOTIFY testingChanged)
    /// What is written to be spoken. What could not be spoken comes back before what has been written since.
    Q_PROPERTY(QString draft READ draft WRITE setDraft NOTIFY draftChanged)
    Q_PROPERTY(bool mayBeSaid READ mayBeSaid NOTIFY draftChanged) ///< the draft, now
    Q_PROPERTY(QString version READ version CONSTANT)

public:
    explicit AppBridge(AppModel& model);
    /// The service time of `hosted` is shown from now on; `hosted` outlives the bridge.
    void setHosted(HostedSession& hosted);
    /// The service on this computer is used: its time is not counted, and it knows only some of the languages.
    void setLocalService(bool local);

    bool english() const { return m_model.settings->uiLang == "en"; }
    QString statusText() const;
    QString statusShape() const;
    QString statusColour() const;
    QString statusTextColour() const;
    LaneModel* listenLane() { return &m_listenLane; }
    LaneModel* speakLane() { return &m_speakLane; }
    QString elapsed() const { return toQt(m_model.elapsedString()); }
    QString balance() const;
    bool devicesKnown() const { return m_devicesKnown; }
    QVariantList microphones() const;
    QVariantList speakOutputs() const;
    QVariantList listenOutputs() const;
    QString microphone() const;
    QString speakOutput() const;
    QString listenOutput() const;
    QString microphoneName() const;
    QString speakOutputName() const;
    QVariantList sourceLanguages() const;
    QVariantList targetLanguages() const { return sourceLanguages().mid(1); }
    QString languageCount() const;
    QVariantList presets() const;
    QString profileName() const;
    QString profileCounts() const;
    QString ownKey() const;
    /// Keeps it at once; it counts from `adoptOwnKey` on, since whole keys are typed letter by letter.
    void setOwnKey(QString const& key);
    bool testing() const { return m_testing; }
    QString draft() const { return m_draft; }
    void setDraft(QString const& text);
    bool mayBeSaid() const;
    QString version() const;

    Q_INVOKABLE QString languageName(QString const& code) const;
    /// Starts, or stops what runs. A start may ask the user something first; whoever calls this does not wait for the
    /// answer.
    Q_INVOKABLE void toggleRun();
    Q_INVOKABLE void installDriver() { m_model.commands.installDriver(); }
    Q_INVOKABLE void refreshDevices() { m_model.commands.refreshDevices(); }
    Q_INVOKABLE void pickMic(QString const& device) { m_model.commands.pickMic(deviceId(device)); }
    Q_INVOKABLE void pickSpeakOut(QString const& device) { m_model.commands.pickSpeakOut(deviceId(device)); }
    Q_INVOKABLE void pickListenOut(QString const& device) { m_model.commands.pickListenOut(deviceId(device)); }
    Q_INVOKABLE void testVoice();
    Q_INVOKABLE void say(); ///< the draft
    Q_INVOKABLE void adoptOwnKey();
    Q_INVOKABLE void replayLast() { m_model.commands.replayLast(); }
    Q_INVOKABLE void summarizeRecent() { m_model.commands.summarizeRecent(); }
    Q_INVOKABLE void applyPreset(QString const& preset);
    Q_INVOKABLE void clearTranscript() { m_model.transcript = std::vector<AppModel::Line>(); }
    /// "txt" or "srt"; the whole transcript.
    Q_INVOKABLE QString transcriptAs(QString const& extension) const;

    Q_SIGNAL void languageChanged();
    Q_SIGNAL void statusTextChanged();
    Q_SIGNAL void statusKindChanged();
    Q_SIGNAL void localServiceChanged();
    Q_SIGNAL void draftChanged();
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
    LaneModel m_listenLane{m_model, AppModel::Direction::listen};
    LaneModel m_speakLane{m_model, AppModel::Direction::speak};
    QString m_language;
    QString m_draft;
    std::string m_adoptedKey;
    bool m_localService = false;
    bool m_starting = false; ///< also while a question to the user stands
    bool m_testing = false;
    bool m_devicesKnown = false;
};

} // namespace lingrelay
