#include "BusCalls.h"

#include <QDBusConnection>

namespace BusCalls {

std::optional<QDBusMessage> call(const QString& service, const QString& path, const QString& interface,
    const QString& method, const QVariantList& arguments, QString* error, int timeoutMs, QString* errorName)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        *error = QStringLiteral("no session bus");
        return std::nullopt;
    }
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    const QDBusMessage reply = bus.call(message, QDBus::Block, timeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return reply;
    if (errorName)
        *errorName = reply.errorName();
    *error = reply.errorName() == QLatin1String("org.freedesktop.DBus.Error.NoReply")
        ? QStringLiteral("%1 did not answer within %2 seconds").arg(service).arg(timeoutMs / 1000)
        : QStringLiteral("%1: %2").arg(
            service, reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage());
    return std::nullopt;
}

bool isReachable(const QString& service, QString* reason)
{
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    QString error;
    for (const char* method : {"NameHasOwner", "ListActivatableNames"}) {
        const QVariantList arguments = qstrcmp(method, "NameHasOwner") == 0 ? QVariantList {service} : QVariantList {};
        const auto reply
            = call(bus, QStringLiteral("/org/freedesktop/DBus"), bus, QLatin1String(method), arguments, &error, 1000);
        if (!reply || reply->arguments().isEmpty())
            continue;
        const QVariant answer = reply->arguments().first();
        if (answer.toBool() || answer.toStringList().contains(service))
            return true;
    }
    if (reason)
        *reason = error.isEmpty() ? QStringLiteral("%1 is not on the session bus").arg(service) : error;
    return false;
}

} // namespace BusCalls
