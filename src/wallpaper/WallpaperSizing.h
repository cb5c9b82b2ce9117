#pragma once

#include <QSize>
#include <QString>

#include <optional>

// How a picture is fitted to the screen: the arithmetic of a wallpaper change, apart from any
// file or window so that every rule can be checked with numbers alone.

struct SizingSettings
{
    int sizingMode = 0;       // 0 fit (or cover), 1 stretch, 2 fit within limits, 3 own size
    bool bandeZoom = false;   // modes 0 and 2 cover the screen instead of fitting the work area
    bool agranMaxi = false;   // enlarge without limit
    double tauxTaille = 1.0;  // largest enlargement factor when agranMaxi is off
    int tauxDeformation = 18; // percent
    int tauxCouverture = 50;  // percent of the work area that makes the bands tile
    int centrerMosaique = 0;  // mode 3: 0 centred, otherwise tiled
};

struct SizingResult
{
    QSize target;
    bool resize = true;
    QString tileWallpaper = QStringLiteral("0"); // "0"/"0" centred, "1"/"0" tiled, "0"/"2" stretched
    QString wallpaperStyle = QStringLiteral("0");
    bool enlargementLimited = false; // mode 2: the picture is shown at its own size instead
    QString enlargementRatio;        // "(1.5)" when limited
    bool deformationWarning = false;
    double scalePercent = 0; // target width against the picture's
    double deformation = 0;  // the figure shown in the statistics
    double coverage = 0;     // percent of the work area covered
};

/// Rounds to the nearest whole number, halves to the even one.
qint64 roundHalfEven(double value);

/// (target − reference) × 100 / reference, kept to four decimals.
double percentDifference(qint64 target, qint64 reference);

/// The picture scaled to fit inside `area`, keeping its aspect.
std::optional<QSize> fitInside(double pictureWidth, double pictureHeight, const QSize& area);

/// The picture scaled to cover `area` entirely, keeping its aspect (it overflows on one axis).
std::optional<QSize> coverArea(double pictureWidth, double pictureHeight, const QSize& area);

/// The whole computation for one picture. Empty when the numbers cannot be used (an empty
/// picture or area, an overflow): the change is then abandoned and the wallpaper stays.
std::optional<SizingResult> computeSizing(double pictureWidth, double pictureHeight, bool isMetafile,
    const QSize& screen, const QSize& workArea, const SizingSettings& settings);

/// The "SY Chg WP Stats " trace line of a result.
QString sizingStatsLine(const SizingResult& result);
