#pragma once

#include "model/AppModel.h"
#include "ui/Bridge.h"

/// A setting by its own name: writing it changes the model's copy, saves it and has the controller take it over.
#define LINGRELAY_SETTING(QtType, name)                                                                                \
    Q_PROPERTY(QtType name READ name WRITE set_##name NOTIFY changed)                                                  \
public:                                                                                                                \
    QtType name() const { return settingToQt(m_model.settings->name); }                                                \
    void set_##name(QtType const& value) { write(&AppSettings::name, value); }

namespace lingrelay {

/// The settings record for the views; main. The model outlives it.
class SettingsBridge final : public QObject {
    Q_OBJECT
    LINGRELAY_SETTING(QString, sourceLang)
    LINGRELAY_SETTING(QString, targetLang)
    LINGRELAY_SETTING(QString, myLang)
    LINGRELAY_SETTING(QString, theirLang)
    LINGRELAY_SETTING(QString, mode) ///< "listen", "speak", "both"
    LINGRELAY_SETTING(QString, preset)
    LINGRELAY_SETTING(QString, uiLang)
    LINGRELAY_SETTING(bool, tts)
    LINGRELAY_SETTING(bool, muteOriginal)
    LINGRELAY_SETTING(bool, autoRouteMic)
    LINGRELAY_SETTING(bool, typeIntoChat)
    LINGRELAY_SETTING(bool, showOverlay)
    LINGRELAY_SETTING(bool, menuBarIcon)
    LINGRELAY_SETTING(bool, twoWayAuto)
    LINGRELAY_SETTING(bool, forceTwoWay)
    LINGRELAY_SETTING(bool, diarization)
    LINGRELAY_SETTING(bool, endpointDetection)
    LINGRELAY_SETTING(bool, echoGuard)
    Q_PROPERTY(double endpointSensitivity READ endpointSensitivity WRITE set_endpointSensitivity NOTIFY changed)
    Q_PROPERTY(QString endpointSensitivityText READ endpointSensitivityText NOTIFY changed) ///< "+0.3"
    Q_PROPERTY(bool twoWay READ twoWay NOTIFY changed) ///< the mode has both directions
    LINGRELAY_SETTING(int, latencyAdjustment)

public:
    explicit SettingsBridge(AppModel& model) : m_model(model) { }

    double endpointSensitivity() const { return m_model.settings->endpointSensitivity; }
    void set_endpointSensitivity(double value); ///< in tenths
    QString endpointSensitivityText() const;
    bool twoWay() const { return m_model.settings->mode == AppSettings::Mode::both; }

    Q_SIGNAL void changed();

private:
    static QString settingToQt(std::string const& text) { return toQt(text); }
    static QString settingToQt(AppSettings::Mode mode) { return QString::fromLatin1(rawValue(mode)); }
    static bool settingToQt(bool value) { return value; }
    static double settingToQt(double value) { return value; }
    static int settingToQt(std::int64_t value) { return static_cast<int>(value); }

    template <class T, class V> void write(T AppSettings::*member, V const& value);

    AppModel& m_model;
    Subscription m_watch = m_model.settings.observe([this](auto const&) { Q_EMIT changed(); });
};

} // namespace lingrelay
