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

/// Where and how one picture goes on the desktop.
struct WallpaperTarget
{
    QString file; // the picture to show: the rendered bitmap, or the copy made for the desktop
    WallpaperStyle style = WallpaperStyle::Centered;
    QRect monitor;           // the target monitor's rectangle in the virtual screen, in device pixels
    QRect virtualScreen;     // the rectangle spanning every monitor
    QString monitorName;     // the monitor's output name ("HDMI-1", "eDP-1"), empty when unknown
    int monitorIndex = 0;    // its place in the system's list of monitors, from 0
    bool lockScreen = false; // also the lock screen, where the desktop keeps a picture of its own
};

// One way of putting a picture on the desktop. Each desktop that keeps its own wallpaper (or the
// bare X server) has one implementation; WallpaperBackends::choose() picks the one for the session.
//
// apply() may be called on a worker thread (the renderer keeps the tray responsive while a
// desktop answers), one call at a time; every call to a desktop is bounded by CallTimeoutMs.
class WallpaperBackend
{
public:
    static constexpr int CallTimeoutMs = 5000;

    virtual ~WallpaperBackend() = default;

    /// Short stable name ("x11", "gnome", "plasma"...): written in trace lines and accepted to
    /// force this back end.
    virtual QString name() const = 0;

    /// Whether this back end can set the wallpaper of the running session ("are you running here?").
    /// When it cannot, `reason` (if given) receives a sentence saying why. May talk to the display
    /// server or the session bus, so callers ask once when choosing, not before every change.
    virtual bool isAvailable(QString* reason = nullptr) const = 0;

    /// Shows the target's picture as the wallpaper of its monitor; back ends that can leave the
    /// other monitors as they were do so. Returns false, with a sentence a user understands in
    /// `error` (if given), when the picture could not be applied; the previous wallpaper then stays.
    virtual bool apply(const WallpaperTarget& target, QString* error) = 0;

    /// Makes `picture` (the rendered wallpaper, which the renderer is still writing to the bitmap
    /// file meanwhile) ready to show with the same meaning as apply(), without touching the
    /// screen: the work overlaps with the write, and a write that fails shows nothing. Back ends
    /// that hand the desktop a file keep the default, nothing; the renderer then calls apply()
    /// once the file is complete.
    virtual std::unique_ptr<PreparedWallpaper> prepare(
        const QImage& picture, const WallpaperTarget& target, QString* error);

    /// True for a back end that gives the desktop a file to read (every one but the X root's and
    /// null): the renderer then hands it a copy under a fresh name, in a format it reads.
    virtual bool handsOverFile() const { return true; }

    /// Whether the desktop reads BMP files; when not, it is given PNG.
    virtual bool readsBmp() const { return true; }

    /// Whether the desktop has a lock-screen picture this back end can set.
    virtual bool hasLockScreen() const { return false; }
};
