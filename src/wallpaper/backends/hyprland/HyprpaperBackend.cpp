#include "HyprpaperBackend.h"

#include <QFileInfo>
#include <QLocalSocket>

HyprpaperBackend::HyprpaperBackend(QString socketPath)
    : m_socket(std::move(socketPath))
{ }

QString HyprpaperBackend::socketPath(const QString& runtimeDir, const QString& instance)
{
    const QString newer = runtimeDir + QStringLiteral("/hypr/") + instance + QStringLiteral("/.hyprpaper.sock");
    const QString older = QStringLiteral("/tmp/hypr/") + instance + QStringLiteral("/.hyprpaper.sock");
    return !QFileInfo::exists(newer) && QFileInfo::exists(older) ? older : newer;
}

bool HyprpaperBackend::isAvailable(QString* reason) const
{
    QLocalSocket socket;
    socket.connectToServer(m_socket);
    if (socket.waitForConnected(1000))
        return true;
    if (reason)
        *reason = QStringLiteral("hyprpaper does not listen on %1: %2").arg(m_socket, socket.errorString());
    return false;
}

bool HyprpaperBackend::request(const QString& text, QString* reply) const
{
    QLocalSocket socket;
    socket.connectToServer(m_socket);
    if (!socket.waitForConnected(CallTimeoutMs)) {
        *reply = socket.errorString();
        return false;
    }
    socket.write(text.toUtf8());
    if (!socket.waitForBytesWritten(CallTimeoutMs) || !socket.waitForReadyRead(CallTimeoutMs)) {
        *reply
            = QStringLiteral("hyprpaper did not answer \"%1\" within %2 seconds").arg(text).arg(CallTimeoutMs / 1000);
        return false;
    }
    *reply = QString::fromUtf8(socket.readAll()).trimmed();
    return *reply == QLatin1String("ok");
}

bool HyprpaperBackend::apply(const WallpaperTarget& target, QString* error)
{
    QString reply;
    if (m_preloadKnown && !request(QStringLiteral("preload ") + target.file, &reply)) {
        if (reply.contains(QLatin1String("within"))) { // no answer at all: hyprpaper is stuck
            if (error)
                *error = reply;
            return false;
        }
        m_preloadKnown = false;
    }
    // WORKAROUND(hyprpaper): no centred mode; "contain:" keeps the whole picture with bands and
    // "tile:" repeats it, where the running version knows them; otherwise the plain form (cover).
    QString prefix;
    if (target.style == WallpaperStyle::Centered)
        prefix = QStringLiteral("contain:");
    else if (target.style == WallpaperStyle::Tiled)
        prefix = QStringLiteral("tile:");
    const QString monitor = target.monitorName;
    bool shown = request(QStringLiteral("wallpaper %1,%2%3").arg(monitor, prefix, target.file), &reply);
    if (!shown && !prefix.isEmpty() && !reply.contains(QLatin1String("within")))
        shown = request(QStringLiteral("wallpaper %1,%2").arg(monitor, target.file), &reply);
    if (!shown) {
        if (error)
            *error = QStringLiteral("hyprpaper: ") + reply;
        return false;
    }
    if (m_preloadKnown && !m_shown.isEmpty() && m_shown != target.file)
        request(QStringLiteral("unload ") + m_shown, &reply); // memory only: a refusal changes nothing
    m_shown = target.file;
    return true;
}
