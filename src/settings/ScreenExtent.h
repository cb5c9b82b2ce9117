#pragma once

#include <QRect>
#include <functional>
#include <optional>

/// The area covered by all screens together, and the twips-per-pixel ratio used to store positions
/// (15 at 96 logical dots per inch).
struct ScreenExtent
{
    /// A position must leave at least this many pixels of a window on the screens.
    static constexpr int kMinimumVisible = 32;
    /// Default positions sit one inch (1440 twips) inside the top-left corner of the screens.
    static constexpr int kDefaultInset = 1440;

    QRect pixels;
    double twipsPerPixel = 15.0;

    /// Pixels for a length in twips, rounded half to even.
    int toPixels(double twips) const;
    /// Twips for a length in pixels, rounded half to even.
    int toTwips(double pixels) const;
    /// True when a window whose left edge is `twips` keeps kMinimumVisible pixels on the screens.
    bool acceptsX(double twips) const;
    /// The same test for a top edge.
    bool acceptsY(double twips) const;
    /// Default left and top edges, in twips.
    int defaultX() const;
    int defaultY() const;
};

/// Returns the current extent, or nothing when it cannot be known (then every position is accepted).
using ScreenExtentProvider = std::function<std::optional<ScreenExtent>()>;

/// The extent of QGuiApplication's screens: the virtual geometry of the primary screen's siblings and
/// 1440 / its logical dpi. Nothing without a QGuiApplication or without a screen.
std::optional<ScreenExtent> currentScreenExtent();
