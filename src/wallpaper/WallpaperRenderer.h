#pragma once

#include "WallpaperBackend.h"
#include "WallpaperSizing.h"

#include <QFuture>
#include <QImage>
#include <QRect>
#include <QString>
#include <QThreadPool>

#include <functional>
#include <memory>

class ClsMonitor;
class QPainter;
class ImageDecoder;
struct PictureInfo;

// Fits one picture to the current monitor, renders it into Tapisol.bmp and hands it to the
// desktop (`Change_WallPaper`). The previous wallpaper stays whenever a step fails.
//
// A desktop's answer is awaited on a worker thread while the event loop goes on (the tray's menu
// and timers keep working); each back end bounds its calls, and a change asked for while a desktop
// has still not answered the previous one is refused.
class WallpaperRenderer
{
public:
    WallpaperRenderer(ClsMonitor& monitors, ImageDecoder& decoder, WallpaperBackend& backend);
    ~WallpaperRenderer();

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

    /// The copies handed to desktops that read a file ("Tapisol-1.png", "Tapisol-2.bmp"...): two
    /// names in turn, so that a desktop that caches pictures by name sees a new one each time.
    static QStringList desktopCopies();

    /// Something drawn over the wallpaper on screen (the calendar on the desktop): given a painter
    /// on a canvas the size of the target monitor, with the picture already on it as the desktop
    /// would show it. Only the copy handed to the desktop is drawn on; Tapisol.bmp stays the plain
    /// picture. An empty overlay shows the plain picture again.
    using Overlay = std::function<void(QPainter& painter, const QRect& area)>;
    void setOverlay(Overlay overlay) { m_overlay = std::move(overlay); }
    bool hasOverlay() const { return bool(m_overlay); }

    /// The sizing settings as the user left them.
    static SizingSettings settingsFromRegistry();

private:
    struct Areas
    {
        QRect monitor;  // in virtual-screen coordinates, device pixels
        QSize workArea; // the system work area with one monitor, the monitor itself with several
        QRect virtualScreen;
        QString monitorName;
        int monitorIndex = 0;
    };
    // What goes on screen: the helper's decoding of the picture at its target size, and whether
    // Tapisol.bmp holds the picture's own bytes (in `ownFormat`) rather than a rendered bitmap.
    struct Shown
    {
        QImage image;
        bool ownBytes = false;
        int ownFormat = 0;
    };

    std::optional<Areas> currentAreas();
    bool render(const QString& picture, const SizingResult& sizing, const PictureInfo& info, Shown* shown,
        std::unique_ptr<PreparedWallpaper>* prepared, const WallpaperTarget& target);
    bool unchanged(const QString& picture, const SizingResult& sizing) const;
    bool show(const Shown& shown, std::unique_ptr<PreparedWallpaper> prepared, WallpaperTarget target);
    Shown withOverlay(const Shown& plain, const WallpaperTarget& target) const;
    QString writeDesktopCopy(const Shown& shown, QString* error);
    bool applyBounded(const WallpaperTarget& target);
    WallpaperTarget targetOf(const Areas& areas, const QString& tile, const QString& style) const;

    ClsMonitor& m_monitors;
    ImageDecoder& m_decoder;
    WallpaperBackend& m_backend;
    Overlay m_overlay;
    QFuture<std::pair<bool, QString>> m_pending; // the desktop's answer being awaited
    QThreadPool m_worker;                        // last: its end waits for a call under way
};
