#include "SwayBackend.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QtEndian>

namespace {

const QByteArray Magic = QByteArrayLiteral("i3-ipc");
constexpr int HeaderSize = 6 + 4 + 4;

// A value in sway's command language, in double quotes with quotes and backslashes escaped.
QString quoted(QString text)
{
    text.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

bool readExactly(QLocalSocket& socket, qint64 size, QByteArray* into)
{
    while (into->size() < size) {
        if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(WallpaperBackend::CallTimeoutMs))
            return false;
        into->append(socket.read(size - into->size()));
    }
    return true;
}

} // namespace

SwayBackend::SwayBackend(QString socketPath)
    : m_socket(std::move(socketPath))
{ }

bool SwayBackend::isAvailable(QString* reason) const
{
    QLocalSocket socket;
    socket.connectToServer(m_socket);
    if (socket.waitForConnected(1000))
        return true;
    if (reason) {
        *reason = m_socket.isEmpty() ? QStringLiteral("SWAYSOCK is not set")
                                     : QStringLiteral("%1: %2").arg(m_socket, socket.errorString());
    }
    return false;
}

QString SwayBackend::command(const WallpaperTarget& target)
{
    // WORKAROUND(sway): "center" leaves sway's own grey around the picture unless a colour is
    // given; the bands are black, as on every other desktop.
    QString mode = QStringLiteral("center \"#000000\"");
    if (target.style == WallpaperStyle::Tiled)
        mode = QStringLiteral("tile");
    else if (target.style == WallpaperStyle::Stretched)
        mode = QStringLiteral("stretch");
    const QString output = target.monitorName.isEmpty() ? QStringLiteral("*") : quoted(target.monitorName);
    return QStringLiteral("output %1 bg %2 %3").arg(output, quoted(target.file), mode);
}

QByteArray SwayBackend::runCommandMessage(const QString& command)
{
    const QByteArray payload = command.toUtf8();
    QByteArray message = Magic;
    message.resize(HeaderSize);
    qToLittleEndian<quint32>(quint32(payload.size()), message.data() + 6); // sway uses the host's order
    qToLittleEndian<quint32>(0, message.data() + 10);
    return message + payload;
}

bool SwayBackend::apply(const WallpaperTarget& target, QString* error)
{
    QString why;
    QLocalSocket socket;
    socket.connectToServer(m_socket);
    QByteArray header;
    QByteArray payload;
    if (!socket.waitForConnected(CallTimeoutMs)) {
        why = QStringLiteral("%1: %2").arg(m_socket, socket.errorString());
    } else {
        socket.write(runCommandMessage(command(target)));
        if (!socket.waitForBytesWritten(CallTimeoutMs) || !readExactly(socket, HeaderSize, &header)
            || !header.startsWith(Magic)
            || !readExactly(socket, qFromLittleEndian<quint32>(header.constData() + 6), &payload)) {
            why = QStringLiteral("the compositor did not answer within %1 seconds").arg(CallTimeoutMs / 1000);
        } else {
            // One result per command: {"success": true} or {"success": false, "error": "..."}.
            const QJsonObject result = QJsonDocument::fromJson(payload).array().at(0).toObject();
            if (!result.value(QStringLiteral("success")).toBool())
                why = QStringLiteral("the compositor refused the wallpaper: %1")
                          .arg(result.value(QStringLiteral("error")).toString(QString::fromUtf8(payload)));
        }
    }
    if (!why.isEmpty() && error)
        *error = why;
    return why.isEmpty();
}
