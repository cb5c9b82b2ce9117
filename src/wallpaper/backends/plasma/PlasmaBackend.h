#pragma once

#include "WallpaperBackend.h"

// KDE Plasma 5 and 6: a script run by the shell (org.kde.PlasmaShell.evaluateScript) that gives
// the image wallpaper of the target monitor's desktop the picture and its fill mode.
class PlasmaBackend final : public WallpaperBackend
{
public:
    static inline const QString Service = QStringLiteral("org.kde.plasmashell");

    QString name() const override { return QStringLiteral("plasma"); }
    bool isAvailable(QString* reason = nullptr) const override;
    bool apply(const WallpaperTarget& target, QString* error) override;

    /// The script sent for a target: only the desktop of its monitor is changed.
    static QString script(const WallpaperTarget& target);
};
