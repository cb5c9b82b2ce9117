#include "NullBackend.h"

NullBackend::NullBackend(QString reason)
    : m_reason(std::move(reason))
{ }

QString NullBackend::name() const
{
    return QStringLiteral("null");
}

bool NullBackend::isAvailable(QString* /*reason*/) const
{
    return true;
}

bool NullBackend::apply(const WallpaperTarget& target, QString* error)
{
    if (error)
        *error = QStringLiteral("The wallpaper was not changed to %1: %2").arg(target.file, m_reason);
    return false;
}
