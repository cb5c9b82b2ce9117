#pragma once

#include "WallpaperBackend.h"

#include <QStringList>

// XFCE: xfdesktop reads its backgrounds from the xfconf channel "xfce4-desktop", one property
// per monitor and workspace; they are set over xfconf's own D-Bus interface.
class XfceBackend final : public WallpaperBackend
{
public:
    static inline const QString Service = QStringLiteral("org.xfce.Xfconf");

    QString name() const override { return QStringLiteral("xfce"); }
    bool isAvailable(QString* reason = nullptr) const override;
    bool apply(const WallpaperTarget& target, QString* error) override;

    /// The "last-image" properties of the target monitor among `existing` (every workspace);
    /// when it has none yet, the one of its first workspace.
    static QStringList imageProperties(const QStringList& existing, const WallpaperTarget& target);

    /// xfdesktop's image-style for a style.
    static int imageStyle(WallpaperStyle style);
};
