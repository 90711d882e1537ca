#include "ui/DesktopBridge.h"

#include <QClipboard>
#include <QDateTime>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSaveFile>
#include <QStandardPaths>
#include <QWindow>

namespace lingrelay {

void DesktopBridge::setAppearance(bool dark, bool reducedMotion)
{
    m_dark = dark;
    m_reducedMotion = reducedMotion;
    Q_EMIT appearanceChanged();
}

void DesktopBridge::setWindow(QWindow* window) { m_window = window; }

void DesktopBridge::copy(QString const& text) { QGuiApplication::clipboard()->setText(text); }

void DesktopBridge::save(QString const& text, QString const& extension)
{
    if (m_dialog) {
        m_dialog->raise();
        m_dialog->activateWindow();
        return;
    }
    auto const name = QStringLiteral("lingrelay-%1.%2").arg(QDateTime::currentSecsSinceEpoch()).arg(extension);
    auto const folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    auto* const dialog = new QFileDialog;
    m_dialog = dialog;
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(extension);
    dialog->setDirectory(QDir(folder).exists() ? folder : QDir::homePath());
    dialog->selectFile(name);
    connect(dialog, &QFileDialog::fileSelected, this, [this, text](QString const& path) { write(path, text); });
    dialog->winId(); // makes its window, which the transient parent belongs to
    dialog->windowHandle()->setTransientParent(m_window);
    dialog->open();
}

void DesktopBridge::write(QString const& path, QString const& text)
{
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0 && file.commit())
        Q_EMIT saved(path);
    else
        Q_EMIT saveFailed(file.errorString());
}

} // namespace lingrelay
