#pragma once

#include "WallpaperBackend.h"

// The desktops that keep their wallpaper in GSettings (GNOME, Budgie, Cinnamon, MATE), written
// through GIO itself, so that the desktop's own settings back end (dconf, or a key file) takes
// the change and tells the desktop at once.
class GSettingsWallpaperBackend final : public WallpaperBackend
{
public:
    enum class Desktop
    {
        Gnome,
        Budgie, // GNOME's keys, under its own name
        Cinnamon,
        Mate,
    };

    explicit GSettingsWallpaperBackend(Desktop desktop);

    QString name() const override;
    /// True when the desktop's background schema is installed with the keys used here.
    bool isAvailable(QString* reason = nullptr) const override;
    /// Writes the picture and its placement to the desktop's keys (one picture for every
    /// monitor: these desktops have no other), and to the lock screen's when asked and kept.
    bool apply(const WallpaperTarget& target, QString* error) override;
    bool hasLockScreen() const override;

    /// The desktop's `picture-options` value for a style.
    static QString pictureOption(WallpaperStyle style);

private:
    Desktop m_desktop;
};
