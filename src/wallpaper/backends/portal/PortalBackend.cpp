#include "PortalBackend.h"

#include "BusCalls.h"

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <atomic>

namespace {

const QString Path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString Interface = QStringLiteral("org.freedesktop.portal.Wallpaper");

// Waits, on the thread that made it, for the Response signal of one portal request.
class ResponseWaiter : public QObject
{
    Q_OBJECT

public:
    std::optional<uint> wait(int timeoutMs)
    {
        QTimer::singleShot(timeoutMs, &m_loop, &QEventLoop::quit);
        if (!m_response)
            m_loop.exec();
        return m_response;
    }

public slots:
    void onResponse(uint response, const QVariantMap&)
    {
        m_response = response;
        m_loop.quit();
    }

private:
    QEventLoop m_loop;
    std::optional<uint> m_response;
};

// The object path of a request, known before the call from our bus name and the token we give.
QString requestPath(const QString& token)
{
    QString sender = QDBusConnection::sessionBus().baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return Path + QStringLiteral("/request/") + sender + QLatin1Char('/') + token;
}

} // namespace

bool PortalBackend::isAvailable(QString* reason) const
{
    if (!BusCalls::isReachable(Service, reason))
        return false;
    QString why;
    const auto version = BusCalls::call(Service, Path, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"), {Interface, QStringLiteral("version")}, &why, 2000);
    if (version)
        return true;
    if (reason)
        *reason = QStringLiteral("the desktop portal has no Wallpaper interface (%1)").arg(why);
    return false;
}

bool PortalBackend::apply(const WallpaperTarget& target, QString* error)
{
    static std::atomic<int> requests {0};
    const QString token = QStringLiteral("tapisol%1").arg(++requests);
    QFile file(target.file);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(target.file, file.errorString());
        return false;
    }
    ResponseWaiter waiter;
    QDBusConnection::sessionBus().connect(Service, requestPath(token), QStringLiteral("org.freedesktop.portal.Request"),
        QStringLiteral("Response"), &waiter, SLOT(onResponse(uint, QVariantMap)));
    const QVariantMap options {{QStringLiteral("handle_token"), token}, {QStringLiteral("show-preview"), false},
        {QStringLiteral("set-on"), target.lockScreen ? QStringLiteral("both") : QStringLiteral("background")}};
    QString why;
    const auto handle = BusCalls::call(Service, Path, Interface, QStringLiteral("SetWallpaperFile"),
        {QString(), QVariant::fromValue(QDBusUnixFileDescriptor(file.handle())), options}, &why);
    std::optional<uint> response;
    if (handle)
        response = waiter.wait(CallTimeoutMs);
    QDBusConnection::sessionBus().disconnect(Service, requestPath(token),
        QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"), &waiter,
        SLOT(onResponse(uint, QVariantMap)));
    if (handle && !response)
        why = QStringLiteral("the desktop portal did not answer within %1 seconds").arg(CallTimeoutMs / 1000);
    else if (response && *response != 0)
        why = QStringLiteral("the desktop refused the wallpaper (portal response %1)").arg(*response);
    if (!why.isEmpty() && error)
        *error = why;
    return why.isEmpty();
}

#include "PortalBackend.moc"
