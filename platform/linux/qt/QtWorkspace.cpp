#include "platform/linux/qt/QtWorkspace.h"

#include "platform/linux/qt/FrontApplication.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTimer>

namespace lingrelay {

std::shared_ptr<void> QtWorkspace::watchFrontApplication(std::function<void(std::string const& id)> changed)
{
    if (!x11::connection())
        return {};
    return std::make_shared<FrontApplication>(std::move(changed), m_main, m_disk);
}

void QtWorkspace::openAnotherInstance(std::function<void()> done)
{
    QProcess::startDetached(QCoreApplication::applicationFilePath(), {QStringLiteral("--replace")});
    QTimer::singleShot(0, qApp, [done = std::move(done)] { done(); });
}

} // namespace lingrelay
