#pragma once

#include <QRect>
#include <QString>

#include <memory>

class QImage;

/// How a picture fills the area of its monitor.
enum class WallpaperStyle
{
    Centered,  // at its own size in the middle, cropped when larger, black bands when smaller
    Tiled,     // repeated from the area's top-left corner
    Stretched, // scaled to the area, aspect not kept
};

/// The style meant by the pair of desktop values the renderer keeps (`TileWallpaper`, `WallpaperStyle`):
/// "0"/"0" centred, "1"/"0" tiled, "0"/"2" stretched. A tile value of "1" wins over any style, and
/// anything else (a hand-edited settings file) falls back to centred, the desktop's own default.
WallpaperStyle wallpaperStyleFromDesktopValues(const QString& tileWallpaper, const QString& wallpaperStyle);

// A wallpaper a back end has made ready (for one that paints the desktop itself: uploaded to the
// display server) without showing it yet. Dropped unshown, it leaves the screen as it was.
class PreparedWallpaper
{
public:
    virtual ~PreparedWallpaper() = default;
    /// Puts it on screen; false, with a sentence a user understands in `error`, when that failed.
    virtual bool show(QString* error) = 0;
};

// One way of putting a picture on the desktop. Each desktop that keeps its own wallpaper (or the
// bare X server) has one implementation; WallpaperBackends::choose() picks the one for the session.
class WallpaperBackend
{
public:
    virtual ~WallpaperBackend() = default;

    /// Short stable name ("x11", "null"): written in trace lines and accepted to force this back end.
    virtual QString name() const = 0;

    /// Whether this back end can set the wallpaper of the running session ("are you running here?").
    /// When it cannot, `reason` (if given) receives a sentence saying why. May talk to the display
    /// server, so callers ask once when choosing, not before every change.
    virtual bool isAvailable(QString* reason = nullptr) const = 0;

    /// Shows `bitmapFile` (a picture the renderer wrote, any format QImage reads) as the wallpaper of
    /// one monitor. `targetArea` is that monitor's rectangle and `virtualScreen` the rectangle spanning
    /// every monitor, both in the coordinates of QScreen::geometry(); back ends that own the whole
    /// desktop picture leave the other monitors' areas as they were. Returns false, with a sentence a
    /// user understands in `error` (if given), when the picture could not be applied; the previous
    /// wallpaper then stays.
    virtual bool apply(const QString& bitmapFile, WallpaperStyle style, const QRect& targetArea,
        const QRect& virtualScreen, QString* error)
        = 0;

    /// Makes `picture` (the rendered wallpaper, which the renderer is still writing to the bitmap
    /// file meanwhile) ready to show with the same meaning as apply(), without touching the
    /// screen: the work overlaps with the write, and a write that fails shows nothing. Back ends
    /// that hand the desktop a file keep the default, nothing; the renderer then calls apply()
    /// once the file is complete.
    virtual std::unique_ptr<PreparedWallpaper> prepare(const QImage& picture, WallpaperStyle style,
        const QRect& targetArea, const QRect& virtualScreen, QString* error);
};
