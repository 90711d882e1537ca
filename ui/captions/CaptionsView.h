#pragma once

#include "desktop/FloatingCaptions.h"
#include "desktop/PanelDrag.h"
#include "ui/Bridge.h"

#include <QFont>

#include <optional>

namespace lingrelay {

/// The captions panel for the view that draws it, and the user's hand on it; main.
class CaptionsView final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString status READ status NOTIFY changed)
    Q_PROPERTY(QString original READ original NOTIFY changed)
    Q_PROPERTY(QString translation READ translation NOTIFY changed)
    Q_PROPERTY(QString speak READ speak NOTIFY changed)
    Q_PROPERTY(int statusSize READ statusSize NOTIFY changed)
    Q_PROPERTY(int originalSize READ originalSize NOTIFY changed)
    Q_PROPERTY(int translationSize READ translationSize NOTIFY changed)
    Q_PROPERTY(int speakSize READ speakSize NOTIFY changed)
    Q_PROPERTY(int originalRows READ originalRows NOTIFY changed)
    Q_PROPERTY(int translationRows READ translationRows NOTIFY changed)
    Q_PROPERTY(int speakRows READ speakRows NOTIFY changed)
    Q_PROPERTY(double wrapWidth READ wrapWidth NOTIFY changed)
    /// Whether screen readers read finished lines aloud. The choice is kept; at first they do not, or they would talk
    /// over the translation.
    Q_PROPERTY(bool announce READ announce WRITE setAnnounce NOTIFY announceChanged)

public:
    /// Shows `captions` in `window` from now on; both live until `leave`.
    void follow(FloatingCaptions& captions, PanelWindow& window);
    void leave();

    // Hidden labels are empty here.
    QString status() const { return text(m_content.status); }
    QString original() const { return text(m_content.original); }
    QString translation() const { return text(m_content.translation); }
    QString speak() const { return text(m_content.speak); }
    int statusSize() const { return m_content.status.fontSize; }
    int originalSize() const { return m_content.original.fontSize; }
    int translationSize() const { return m_content.translation.fontSize; }
    int speakSize() const { return m_content.speak.fontSize; }
    int originalRows() const { return m_rows.original; }
    int translationRows() const { return m_rows.translation; }
    int speakRows() const { return m_rows.speak; }
    double wrapWidth() const { return m_content.wrapWidth; }
    bool announce() const;
    void setAnnounce(bool on);

    /// The newest words of `text` that fill at most `rows` lines of `width`, with "…" before them when some are left
    /// out.
    Q_INVOKABLE QString fitted(QString const& text, QFont const& font, int width, int rows) const;

    /// Has screen readers read a finished line aloud, where the user wants that.
    void announceLine(QString const& text);

    /// A press at (x, y) of the panel; near an edge, or on the grip, it takes hold of that.
    Q_INVOKABLE void press(double x, double y, bool onGrip);
    Q_INVOKABLE void drag();
    Q_INVOKABLE void resetPlace();
    /// The Qt::CursorShape for a pointer at (x, y) of the panel.
    Q_INVOKABLE int cursorAt(double x, double y) const;

    Q_SIGNAL void changed();
    Q_SIGNAL void announceChanged();
    Q_SIGNAL void announced(QString const& line);

private:
    static QString text(FloatingCaptions::Label const& label);

    PanelWindow* m_window = nullptr; ///< together with the captions
    FloatingCaptions* m_captions = nullptr;
    FloatingCaptions::Content m_content;
    CaptionLayout::Rows m_rows;
    Subscription m_watch;
    std::optional<PanelDrag> m_drag;
    QPointF m_pressed; ///< on the desktop
};

} // namespace lingrelay
