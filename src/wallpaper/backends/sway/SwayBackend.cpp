#include "SwayBackend.h"

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QStringList>
#include <QtEndian>

namespace {

const QByteArray Magic = QByteArrayLiteral("i3-ipc");
constexpr int HeaderSize = 6 + 4 + 4;
constexpr quint32 LongestReply = 16 * 1024 * 1024; // a length past this is not sway talking

// A word of sway's command language, in double quotes. Its parser leaves backslash escapes in the
// word, so one before each backslash and quote is all a plain word (an output's name) needs.
QString quoted(QString text)
{
    text.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

// The file of "output bg": sway passes it through wordexp(3) once the quotes are off, so every ASCII
// character a shell gives a meaning to ("$", "'", "*", "~", a space...) is escaped for that as well.
QString quotedPath(const QString& path)
{
    QString escaped;
    escaped.reserve(path.size() * 2 + 2);
    escaped += QLatin1Char('"');
    for (const QChar c : path) {
        if (c.unicode() < 0x80 && !c.isLetterOrNumber() && !QStringView(u"/._-+").contains(c))
            escaped += QLatin1Char('\\');
        escaped += c;
    }
    return escaped + QLatin1Char('"');
}

int remainingMs(const QDeadlineTimer& deadline)
{
    return int(qMax<qint64>(deadline.remainingTime(), 0));
}

// One request and its reply on a connected socket, all before `deadline`. False, with a sentence in
// `why`, when the compositor does not answer in time, hangs up, or answers something else.
bool call(QLocalSocket& socket, const QDeadlineTimer& deadline, quint32 type, const QString& payload, QByteArray* reply,
    QString* why)
{
    const auto failed = [&](const QString& reason) {
        *why = reason;
        return false;
    };
    const auto lost = [&] {
        if (deadline.hasExpired() || socket.error() == QLocalSocket::SocketTimeoutError)
            return failed(QStringLiteral("the compositor did not answer within %1 seconds")
                              .arg(WallpaperBackend::CallTimeoutMs / 1000));
        return failed(QStringLiteral("the compositor closed the connection: %1").arg(socket.errorString()));
    };
    const auto readExactly = [&](qint64 size, QByteArray* into) {
        while (into->size() < size) {
            if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(remainingMs(deadline)))
                return false;
            into->append(socket.read(size - into->size()));
        }
        return true;
    };

    socket.write(SwayBackend::message(type, payload));
    while (socket.bytesToWrite() > 0) {
        if (!socket.waitForBytesWritten(remainingMs(deadline)))
            return lost();
    }
    QByteArray header;
    if (!readExactly(HeaderSize, &header))
        return lost();
    const quint32 length = qFromUnaligned<quint32>(header.constData() + 6);
    if (!header.startsWith(Magic) || qFromUnaligned<quint32>(header.constData() + 10) != type || length > LongestReply)
        return failed(QStringLiteral("%1 does not speak sway's IPC").arg(socket.serverName()));
    reply->clear();
    return readExactly(length, reply) || lost();
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
    QString mode = QStringLiteral("center");
    if (target.style == WallpaperStyle::Tiled)
        mode = QStringLiteral("tile");
    else if (target.style == WallpaperStyle::Stretched)
        mode = QStringLiteral("stretch");
    const QString output = target.monitorName.isEmpty() ? QStringLiteral("*") : quoted(target.monitorName);
    // Black around a centred picture smaller than its output; swaybg's own colour is a grey.
    return QStringLiteral("output %1 bg %2 %3 #000000").arg(output, quotedPath(target.file), mode);
}

QByteArray SwayBackend::message(quint32 type, const QString& payload)
{
    const QByteArray bytes = payload.toUtf8();
    QByteArray message = Magic;
    message.resize(HeaderSize);
    qToUnaligned<quint32>(quint32(bytes.size()), message.data() + 6); // in the host's byte order
    qToUnaligned<quint32>(type, message.data() + 10);
    return message + bytes;
}

bool SwayBackend::apply(const WallpaperTarget& target, QString* error)
{
    const QDeadlineTimer deadline(CallTimeoutMs);
    QString why;
    QLocalSocket socket;
    QByteArray reply;
    socket.connectToServer(m_socket);
    if (!socket.waitForConnected(remainingMs(deadline))) {
        why = QStringLiteral("%1: %2").arg(m_socket, socket.errorString());
    } else if (!target.monitorName.isEmpty() && call(socket, deadline, GetOutputs, QString(), &reply, &why)) {
        // sway takes a background for any name, kept for an output that may come later: one it
        // does not have now would show nothing, so that is a failure here.
        QStringList names;
        const QJsonArray outputs = QJsonDocument::fromJson(reply).array();
        for (const QJsonValue& output : outputs)
            names += output.toObject().value(QStringLiteral("name")).toString();
        if (!names.contains(target.monitorName)) {
            why = QStringLiteral("the compositor has no output named \"%1\" (it has %2)")
                      .arg(target.monitorName, names.isEmpty() ? QStringLiteral("none") : names.join(u", "));
        }
    }
    if (why.isEmpty() && socket.state() == QLocalSocket::ConnectedState
        && call(socket, deadline, RunCommand, command(target), &reply, &why)) {
        // One result per command: {"success": true} or {"success": false, "error": "..."}.
        const QJsonDocument document = QJsonDocument::fromJson(reply);
        const QJsonObject result = document.array().at(0).toObject();
        if (!document.isArray() || document.array().isEmpty()) {
            why = QStringLiteral("the compositor answered something unexpected: %1").arg(QString::fromUtf8(reply));
        } else if (!result.value(QStringLiteral("success")).toBool()) {
            why = QStringLiteral("the compositor refused the wallpaper: %1")
                      .arg(result.value(QStringLiteral("error")).toString(QString::fromUtf8(reply)));
        }
    }
    if (!why.isEmpty() && error)
        *error = why;
    return why.isEmpty();
}
