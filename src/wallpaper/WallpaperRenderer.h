#pragma once

#include "WallpaperSizing.h"

#include <QRect>
#include <QString>

#include <memory>

class ClsMonitor;
class ImageDecoder;
class PreparedWallpaper;
class WallpaperBackend;

// Fits one picture to the current monitor, renders it into Tapisol.bmp and hands that file to the
// desktop (`Change_WallPaper`). The previous wallpaper stays whenever a step fails.
class WallpaperRenderer
{
public:
    WallpaperRenderer(ClsMonitor& monitors, ImageDecoder& decoder, WallpaperBackend& backend);

    /// Shows `picture` as the wallpaper. False, traced with the file and the reason, when the
    /// previous wallpaper stays.
    bool change(const QString& picture);

    /// Applies the rendered file again with the values it was rendered with (start-up without a
    /// change). False when there is nothing to apply.
    bool reapply();

    /// After a change of the monitors (resolution, rotation, one plugged in or out): the current
    /// picture fitted and rendered again for the new size, or, when it is gone, the rendered file
    /// applied again. False when the wallpaper could not follow.
    bool refit();

    /// Where the rendered wallpaper lives: Tapisol.bmp in the data folder.
    static QString outputPath();

    /// The sizing settings as the user left them.
    static SizingSettings settingsFromRegistry();

private:
    struct Areas
    {
        QRect monitor;  // in virtual-screen coordinates
        QSize workArea; // the system work area with one monitor, the monitor itself with several
        QRect virtualScreen;
    };
    std::optional<Areas> currentAreas();
    bool writeOutput(const QString& picture, const SizingResult& sizing, bool isMetafile, const Areas& areas,
        std::unique_ptr<PreparedWallpaper>* prepared);
    bool showPrepared(PreparedWallpaper& prepared);
    bool unchanged(const QString& picture, const SizingResult& sizing) const;
    bool applyOutput(const QString& tile, const QString& style, const Areas& areas);
    bool prepareDecoded(const QString& file, QSize size, const QString& tile, const QString& style, const Areas& areas,
        std::unique_ptr<PreparedWallpaper>* prepared, QString* error);

    ClsMonitor& m_monitors;
    ImageDecoder& m_decoder;
    WallpaperBackend& m_backend;
};
