#pragma once

#include "WallpaperBackend.h"

#include <QByteArray>
#include <QtGlobal>

// The wallpaper of a bare X server (any window manager, no desktop of its own): the picture is
// painted into a pixmap the size of the root window, which becomes the root's background and is
// announced through the _XROOTPMAP_ID and ESETROOT_PMAP_ID properties that terminals, docks and
// compositors read to show the desktop behind them.
class X11RootBackend final : public WallpaperBackend
{
public:
    /// Works on `displayName`, by default the DISPLAY of this process.
    explicit X11RootBackend(QByteArray displayName = qgetenv("DISPLAY"));

    QString name() const override;
    /// True when the X server can be reached.
    bool isAvailable(QString* reason = nullptr) const override;
    /// Paints the picture into a new root pixmap over a copy of the current one, so that the other
    /// monitors keep their wallpaper, publishes it, and releases the pixmap it replaces.
    bool apply(const WallpaperTarget& target, QString* error) override;
    /// The same painting, stopped before the publication: show() publishes it.
    std::unique_ptr<PreparedWallpaper> prepare(
        const QImage& picture, const WallpaperTarget& target, QString* error) override;
    bool handsOverFile() const override { return false; }

private:
    QByteArray m_display;
};
