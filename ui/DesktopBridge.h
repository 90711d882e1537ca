#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class QFileDialog;
class QWindow;

namespace lingrelay {

/// What views ask of the desktop: the clipboard, a place for a file, how windows should look; main.
class DesktopBridge final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool dark READ dark NOTIFY appearanceChanged)
    Q_PROPERTY(bool reducedMotion READ reducedMotion NOTIFY appearanceChanged)

public:
    bool dark() const { return m_dark; }
    bool reducedMotion() const { return m_reducedMotion; }
    void setAppearance(bool dark, bool reducedMotion);
    /// Dialogs stand before it, and it takes no input meanwhile.
    void setWindow(QWindow* window);

    /// Replaces what the clipboard holds.
    Q_INVOKABLE void copy(QString const& text);
    /// Asks for a place, "lingrelay-TIME.EXTENSION" being proposed, and writes the text there, whole or not at all. One
    /// at a time: while it asks, another call only brings the dialog to the front.
    Q_INVOKABLE void save(QString const& text, QString const& extension);

    /// Where the text was written, or why writing failed. A user who closes the dialog is told neither.
    Q_SIGNAL void saved(QString const& path);
    Q_SIGNAL void saveFailed(QString const& reason);
    Q_SIGNAL void appearanceChanged();

private:
    void write(QString const& path, QString const& text);

    QPointer<QWindow> m_window;
    QPointer<QFileDialog> m_dialog;
    bool m_dark = false;
    bool m_reducedMotion = false;
};

} // namespace lingrelay
