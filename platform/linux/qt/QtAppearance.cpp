#include "platform/linux/qt/QtAppearance.h"

#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>

namespace lingrelay {

namespace {

constexpr auto service = "org.freedesktop.portal.Desktop";
constexpr auto path = "/org/freedesktop/portal/desktop";
constexpr auto settings = "org.freedesktop.portal.Settings";
constexpr auto appearance = "org.freedesktop.appearance";
constexpr auto colourScheme = "color-scheme"; ///< 1 dark, 2 light
constexpr auto gnome = "org.gnome.desktop.interface";
constexpr auto animations = "enable-animations";

QString text(char const* latin) { return QString::fromLatin1(latin); }

} // namespace

QtAppearance::QtAppearance()
{
    auto bus = QDBusConnection::sessionBus();
    bus.connect(text(service), text(path), text(settings), QStringLiteral("SettingChanged"), this,
        SLOT(settingChanged(QDBusMessage)));
    ask(appearance, colourScheme);
    ask(gnome, animations);
    qGuiApp->installEventFilter(this);
}

bool QtAppearance::dark() const
{
    if (m_scheme != Scheme::none)
        return m_scheme == Scheme::dark;
    return QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
}

void QtAppearance::ask(char const* space, char const* key)
{
    auto call = QDBusMessage::createMethodCall(text(service), text(path), text(settings), QStringLiteral("Read"));
    call.setArguments({text(space), text(key)});
    auto* const waiting = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(waiting, &QDBusPendingCallWatcher::finished, this, [this, waiting, space, key] {
        waiting->deleteLater();
        QDBusPendingReply<QDBusVariant> const reply = *waiting;
        if (!reply.isError())
            take(text(space), text(key), reply.value().variant());
    });
}

void QtAppearance::settingChanged(QDBusMessage const& message)
{
    auto const& words = message.arguments();
    if (words.size() == 3)
        take(words[0].toString(), words[1].toString(), words[2]);
}

void QtAppearance::take(QString const& space, QString const& key, QVariant const& value)
{
    // `Read` wraps the value once more.
    auto const inner = value.canConvert<QDBusVariant>() ? value.value<QDBusVariant>().variant() : value;
    if (space == text(appearance) && key == text(colourScheme))
        m_scheme = inner.toUInt() == 1 ? Scheme::dark : inner.toUInt() == 2 ? Scheme::light : Scheme::none;
    else if (space == text(gnome) && key == text(animations))
        m_reducedMotion = !inner.toBool();
    else
        return;
    if (onChanged)
        onChanged();
}

bool QtAppearance::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::ApplicationPaletteChange && onChanged)
        onChanged();
    return QObject::eventFilter(watched, event);
}

} // namespace lingrelay
