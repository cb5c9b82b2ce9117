#include "XfceBackend.h"

#include "BusCalls.h"

#include <QDBusArgument>
#include <QDBusVariant>
#include <QRegularExpression>

namespace {

const QString Channel = QStringLiteral("xfce4-desktop");
const QString LastImage = QStringLiteral("/last-image");

std::optional<QDBusMessage> xfconf(const QString& method, const QVariantList& arguments, QString* error)
{
    return BusCalls::call(XfceBackend::Service, QStringLiteral("/org/xfce/Xfconf"), QStringLiteral("org.xfce.Xfconf"),
        method, arguments, error);
}

bool setProperty(const QString& property, const QVariant& value, QString* error)
{
    return xfconf(QStringLiteral("SetProperty"), {Channel, property, QVariant::fromValue(QDBusVariant(value))}, error)
        .has_value();
}

// The property names of the channel's backdrops; none yet (a first session) is no error.
QStringList backdropProperties(QString* error)
{
    QString errorName;
    const auto reply = BusCalls::call(XfceBackend::Service, QStringLiteral("/org/xfce/Xfconf"),
        QStringLiteral("org.xfce.Xfconf"), QStringLiteral("GetAllProperties"), {Channel, QStringLiteral("/backdrop")},
        error, WallpaperBackend::CallTimeoutMs, &errorName);
    if (errorName == QLatin1String("org.xfce.Xfconf.Error.PropertyNotFound")
        || errorName == QLatin1String("org.xfce.Xfconf.Error.ChannelNotFound"))
        error->clear();
    if (!reply || reply->arguments().isEmpty())
        return {};
    QVariantMap properties;
    reply->arguments().first().value<QDBusArgument>() >> properties;
    return properties.keys();
}

} // namespace

bool XfceBackend::isAvailable(QString* reason) const
{
    return BusCalls::isReachable(Service, reason);
}

int XfceBackend::imageStyle(WallpaperStyle style)
{
    switch (style) {
    case WallpaperStyle::Tiled:
        return 2;
    case WallpaperStyle::Stretched:
        return 3;
    case WallpaperStyle::Centered:
        break;
    }
    return 1;
}

QStringList XfceBackend::imageProperties(const QStringList& existing, const WallpaperTarget& target)
{
    // xfdesktop 4.12 and later name monitors by their output ("monitorHDMI-1"); older ones, and
    // a session without output names, by their number ("monitor0").
    QStringList monitors;
    if (!target.monitorName.isEmpty())
        monitors << QStringLiteral("monitor") + target.monitorName;
    monitors << QStringLiteral("monitor%1").arg(target.monitorIndex);
    for (const QString& monitor : std::as_const(monitors)) {
        const QRegularExpression pattern(QStringLiteral("^/backdrop/screen\\d+/%1/workspace\\d+/last-image$")
                                             .arg(QRegularExpression::escape(monitor)));
        QStringList found = existing.filter(pattern);
        if (!found.isEmpty()) {
            found.sort();
            return found;
        }
    }
    return {QStringLiteral("/backdrop/screen0/%1/workspace0/last-image").arg(monitors.first())};
}

bool XfceBackend::apply(const WallpaperTarget& target, QString* error)
{
    QString why;
    const QStringList existing = backdropProperties(&why);
    if (!why.isEmpty()) {
        if (error)
            *error = why;
        return false;
    }
    // Each workspace of the monitor: the style first, so that xfdesktop, which redraws on the
    // image's change, draws it with the new style.
    for (const QString& property : imageProperties(existing, target)) {
        const QString base = property.chopped(LastImage.size());
        if (!setProperty(base + QStringLiteral("/image-style"), imageStyle(target.style), &why)
            || !setProperty(property, target.file, &why)) {
            if (error)
                *error = why;
            return false;
        }
    }
    return true;
}
