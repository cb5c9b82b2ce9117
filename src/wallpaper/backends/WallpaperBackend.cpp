#include "WallpaperBackend.h"

WallpaperStyle wallpaperStyleFromDesktopValues(const QString& tileWallpaper, const QString& wallpaperStyle)
{
    if (tileWallpaper.trimmed() == QLatin1String("1"))
        return WallpaperStyle::Tiled;
    if (wallpaperStyle.trimmed() == QLatin1String("2"))
        return WallpaperStyle::Stretched;
    return WallpaperStyle::Centered;
}

std::unique_ptr<PreparedWallpaper> WallpaperBackend::prepare(const QImage&, const WallpaperTarget&, QString*)
{
    return nullptr;
}
