#pragma once

#include <QObject>
#include <QString>

namespace lingrelay {

/// What views ask of the desktop: the clipboard, a place for a file; main.
class DesktopBridge final : public QObject {
    Q_OBJECT

public:
    /// Replaces what the clipboard holds.
    Q_INVOKABLE void copy(QString const& text);
    /// Asks for a place, "lingrelay-TIME.EXTENSION" being proposed, and writes the text there, whole or not at all.
    Q_INVOKABLE void save(QString const& text, QString const& extension);

    /// Where the text went, or why it went nowhere. A user who changes their mind gets neither.
    Q_SIGNAL void saved(QString const& path);
    Q_SIGNAL void saveFailed(QString const& reason);

private:
    void write(QString const& path, QString const& text);
};

} // namespace lingrelay
