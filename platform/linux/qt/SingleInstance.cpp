#include "platform/linux/qt/SingleInstance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <QLockFile>
#include <QStandardPaths>

#include <thread>

namespace lingrelay {

namespace {

constexpr int connectLimit = 1000; ///< milliseconds

constexpr auto takeoverWait = std::chrono::milliseconds(100);
constexpr int takeoverWaits = 50;

bool raiseOther(QString const& place)
{
    QLocalSocket socket;
    socket.connectToServer(place);
    return socket.waitForConnected(connectLimit);
}

} // namespace

SingleInstance::SingleInstance(std::string const& name, Takeover takeover)
{
    // A folder that only the user can enter, so nobody else can ask or answer.
    auto const folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    auto const display = qgetenv("WAYLAND_DISPLAY") + qgetenv("DISPLAY");
    auto const hash = QCryptographicHash::hash(display, QCryptographicHash::Sha1).toHex().left(12);
    auto const place = QStringLiteral("%1/%2-%3").arg(folder, QString::fromStdString(name), QString::fromLatin1(hash));
    QLockFile lock(place + QStringLiteral(".lock")); // two launches at the same moment
    lock.setStaleLockTime(0);
    lock.tryLock(connectLimit);
    for (int waits = takeover == Takeover::yes ? takeoverWaits : 0; raiseOther(place); --waits) {
        if (waits == 0)
            return;
        std::this_thread::sleep_for(takeoverWait);
    }
    m_first = true;
    QLocalServer::removeServer(place); // of a program that was killed
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    QObject::connect(&m_server, &QLocalServer::newConnection, &m_server, [this] {
        while (auto* const socket = m_server.nextPendingConnection())
            delete socket;
        if (onRaise)
            onRaise();
    });
    m_server.listen(place);
}

} // namespace lingrelay
