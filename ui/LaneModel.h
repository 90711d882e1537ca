#pragma once

#include "ui/Bridge.h"

#include <vector>

namespace lingrelay {

/// One direction of the translation as the dashboard draws it: where sound comes from, what becomes of it, where it
/// goes, and the words of now. Colours and icons are the names that the theme and the program's own drawings have.
/// Main; the model outlives it.
class LaneModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool shown READ shown NOTIFY settingsChanged) ///< the mode has this direction
    Q_PROPERTY(bool bidirectional READ bidirectional NOTIFY settingsChanged)
    Q_PROPERTY(QString title READ title NOTIFY settingsChanged)
    Q_PROPERTY(QString iconName READ iconName NOTIFY settingsChanged)
    Q_PROPERTY(QString languages READ languages NOTIFY settingsChanged) ///< "English → Spanish"
    Q_PROPERTY(QString tint READ tint CONSTANT)
    Q_PROPERTY(QString textTint READ textTint CONSTANT)
    Q_PROPERTY(QString inLabel READ inLabel NOTIFY settingsChanged)
    Q_PROPERTY(QString inIcon READ inIcon CONSTANT)
    Q_PROPERTY(QString outLabel READ outLabel NOTIFY settingsChanged)
    Q_PROPERTY(QString outIcon READ outIcon NOTIFY settingsChanged)
    Q_PROPERTY(double inLevel READ inLevel NOTIFY levelsChanged) ///< levels are 0 to 1
    Q_PROPERTY(double outLevel READ outLevel NOTIFY levelsChanged)
    // An end is awake while sound can come there: its input in a session, its output whenever something plays.
    Q_PROPERTY(bool inAwake READ inAwake NOTIFY stateChanged)
    Q_PROPERTY(bool outAwake READ outAwake NOTIFY stateChanged)
    Q_PROPERTY(bool flowing READ flowing NOTIFY stateChanged) ///< sound is heard at one of its ends
    Q_PROPERTY(QString source READ source NOTIFY wordsChanged)
    Q_PROPERTY(QString translated READ translated NOTIFY wordsChanged)

public:
    LaneModel(AppModel& model, AppModel::Direction direction);

    bool shown() const;
    bool bidirectional() const { return !m_listens && m_model.settings->forceTwoWay; }
    QString title() const;
    QString iconName() const;
    QString languages() const;
    QString tint() const;
    QString textTint() const { return tint() + QStringLiteral("Text"); }
    QString inLabel() const;
    QString inIcon() const;
    QString outLabel() const;
    QString outIcon() const;
    double inLevel() const { return *m_model.running ? **m_in : 0; }
    double outLevel() const { return **m_out; }
    bool inAwake() const { return m_state.inAwake; }
    bool outAwake() const { return m_state.outAwake; }
    bool flowing() const { return m_state.flowing; }
    QString source() const { return m_listens ? toQt(*m_model.listenOriginal) : QString(); }
    QString translated() const { return toQt(m_listens ? *m_model.listenTranslated : *m_model.speakTranslated); }

    Q_SIGNAL void settingsChanged();
    Q_SIGNAL void levelsChanged();
    Q_SIGNAL void stateChanged();
    Q_SIGNAL void wordsChanged();

private:
    struct State {
        bool inAwake = false;
        bool outAwake = false;
        bool flowing = false;

        bool operator==(State const&) const = default;
    };
    State stateNow() const;
    void takeLevels();

    AppModel& m_model;
    bool m_listens;
    Observable<double>* m_in;
    Observable<double>* m_out;
    State m_state;
    std::vector<Subscription> m_watches;
};

} // namespace lingrelay
