#include "platform/linux/qt/QtWorkspace.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTimer>

namespace lingrelay {

std::shared_ptr<void> QtWorkspace::watchFrontApplication(std::function<void(std::string const& id)>) { return {}; }

void QtWorkspace::openAnotherInstance(std::function<void()> done)
{
    QProcess::startDetached(QCoreApplication::applicationFilePath(), {QStringLiteral("--replace")});
    QTimer::singleShot(0, qApp, [done = std::move(done)] { done(); });
}

} // namespace lingrelay
