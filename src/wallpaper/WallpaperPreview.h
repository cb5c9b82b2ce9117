#pragma once

#include "WallpaperSizing.h"

#include <QList>
#include <QRectF>
#include <QString>

// What the settings dialog shows of the wallpaper to come, worked out without a window: the
// statistics of a sizing in their display formats, and where the monitors and the fitted picture
// fall in a miniature.
namespace WallpaperPreview {

struct Statistics
{
    QString scale;                   // "##0 %"
    QString deformation;             // "-##0 %"
    QString ratio;                   // "(##0.0##)" when the enlargement was limited, else empty
    QString widthChange;             // "##0.0# %": the target width against the work area's
    QString heightChange;            // the same for the height
    QString coverage;                // "0.00"
    bool ratioWarning = false;       // shown in WarningColour
    bool deformationWarning = false; // the width and height changes too
};

/// RGB 192, 64, 0: the colour of the figures that pass a limit.
inline constexpr unsigned WarningColour = 0xC04000;

Statistics statistics(const SizingResult& sizing, const QSize& workArea);

struct Monitor
{
    QRectF frame;   // the monitor in the miniature
    QRectF picture; // where the fitted picture lies (may pass the frame; clip to it)
    bool tiled = false;
    bool stretched = false;
    bool current = false; // the monitor the wallpaper goes to
};

/// The monitors (device pixels, in the virtual screen) scaled into `canvas` with their
/// proportions, the current one holding the picture as `sizing` places it: centred at its target
/// size, stretched to the work area, or tiled from the corner.
QList<Monitor> layout(const QList<QRect>& monitors, int currentIndex, const SizingResult& sizing, const QSizeF& canvas);

} // namespace WallpaperPreview
