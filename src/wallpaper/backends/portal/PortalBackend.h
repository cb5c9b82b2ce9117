#pragma once

#include "WallpaperBackend.h"

// Any other desktop: the desktop portal's Wallpaper interface, which hands the picture (an open
// file) to whatever the desktop uses, without asking the user.
class PortalBackend final : public WallpaperBackend
{
public:
    static inline const QString Service = QStringLiteral("org.freedesktop.portal.Desktop");

    QString name() const override { return QStringLiteral("portal"); }
    /// True when the portal runs (or can be started) and offers the Wallpaper interface.
    bool isAvailable(QString* reason = nullptr) const override;
    bool apply(const WallpaperTarget& target, QString* error) override;
    bool hasLockScreen() const override { return true; } // "set-on": "both"
};
