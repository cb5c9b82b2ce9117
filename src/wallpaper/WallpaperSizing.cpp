#include "WallpaperSizing.h"

#include <cfenv>
#include <cmath>
#include <limits>

namespace {

constexpr double MaxPixels = 1 << 20; // larger than any screen; beyond it the numbers are not trusted

bool usable(double value)
{
    return std::isfinite(value) && value > 0 && value <= MaxPixels;
}

std::optional<QSize> toSize(double width, double height)
{
    if (!usable(width) || !usable(height))
        return std::nullopt;
    return QSize(int(roundHalfEven(width)), int(roundHalfEven(height)));
}

// "##0.0##": at least one decimal, at most three.
QString formatRatio(double value)
{
    QString text = QString::number(value, 'f', 3);
    while (text.endsWith(QLatin1Char('0')) && !text.endsWith(QLatin1String(".0")))
        text.chop(1);
    return text;
}

} // namespace

qint64 roundHalfEven(double value)
{
    // nearbyint follows the current rounding mode, which is to-nearest-even unless changed.
    const int previous = std::fegetround();
    std::fesetround(FE_TONEAREST);
    const double rounded = std::nearbyint(value);
    std::fesetround(previous);
    return qint64(rounded);
}

double percentDifference(qint64 target, qint64 reference)
{
    if (reference == 0)
        return 0;
    return std::round(double(target - reference) * 100.0 / double(reference) * 10000.0) / 10000.0;
}

std::optional<QSize> fitInside(double pictureWidth, double pictureHeight, const QSize& area)
{
    if (!usable(pictureWidth) || !usable(pictureHeight) || area.isEmpty())
        return std::nullopt;
    double width = area.width();
    double height = double(roundHalfEven(pictureHeight * width / pictureWidth));
    if (height > area.height()) {
        height = area.height();
        width = double(roundHalfEven(pictureWidth * height / pictureHeight));
    }
    return toSize(width, height);
}

std::optional<QSize> coverArea(double pictureWidth, double pictureHeight, const QSize& area)
{
    if (!usable(pictureWidth) || !usable(pictureHeight) || area.isEmpty())
        return std::nullopt;
    double width = area.width();
    double height = double(roundHalfEven(pictureHeight * width / pictureWidth));
    if (height < area.height()) {
        height = area.height();
        width = double(roundHalfEven(pictureWidth * height / pictureHeight));
    }
    return toSize(width, height);
}

namespace {

// Computed in whole numbers, divided in floating point.
double coverageOf(const QSize& target, const QSize& workArea)
{
    const qint64 covered = qint64(target.width()) * target.height() * 100;
    return double(covered) / double(qint64(workArea.width()) * workArea.height());
}

void applyModeTwoLimits(double pictureWidth, double pictureHeight, const QSize& screen, const QSize& workArea,
    const SizingSettings& settings, SizingResult& result)
{
    const QSize fitted = result.target;
    if (!settings.agranMaxi) {
        const double factor = settings.tauxTaille;
        const bool accepted = pictureWidth * factor >= fitted.width() && pictureHeight * factor >= fitted.height();
        if (!accepted) {
            const double ratio = std::round((fitted.width() + fitted.height()) * 100.0 / (pictureWidth + pictureHeight)
                                     / 100.0 * 1000.0)
                / 1000.0;
            result.enlargementLimited = true;
            result.enlargementRatio = QLatin1Char('(') + formatRatio(ratio) + QLatin1Char(')');
            result.target = QSize(int(roundHalfEven(pictureWidth)), int(roundHalfEven(pictureHeight)));
        }
    }
    result.coverage = coverageOf(result.target, workArea);
    const double widthDifference = percentDifference(result.target.width(), workArea.width());
    const double heightDifference = percentDifference(result.target.height(), workArea.height());
    result.deformation = qMin(widthDifference, heightDifference);
    // Only a warning: the size stays what the rules above gave.
    result.deformationWarning
        = settings.tauxDeformation > widthDifference || settings.tauxDeformation > heightDifference;
    if (settings.bandeZoom && result.target.height() >= screen.height()) {
        // Taken against the covered height, so that a picture cut by a fifth or more says so.
        const double cut = percentDifference(screen.height(), result.target.height());
        if (cut <= -20)
            result.deformation = std::abs(cut);
    }
    if (settings.tauxCouverture <= result.coverage) {
        result.tileWallpaper = QStringLiteral("1");
        result.wallpaperStyle = QStringLiteral("0");
    }
}

} // namespace

std::optional<SizingResult> computeSizing(double pictureWidth, double pictureHeight, bool isMetafile,
    const QSize& screen, const QSize& workArea, const SizingSettings& settings)
{
    if (!usable(pictureWidth) || !usable(pictureHeight) || screen.isEmpty() || workArea.isEmpty())
        return std::nullopt;

    SizingResult result;
    std::optional<QSize> target;
    switch (settings.sizingMode) {
    case 1:
        target = workArea;
        result.wallpaperStyle = QStringLiteral("2");
        break;
    case 3:
        target = toSize(pictureWidth, pictureHeight);
        result.resize = false;
        if (settings.centrerMosaique != 0)
            result.tileWallpaper = QStringLiteral("1");
        break;
    case 2:
    case 0:
    default:
        target = settings.bandeZoom ? coverArea(pictureWidth, pictureHeight, screen)
                                    : fitInside(pictureWidth, pictureHeight, workArea);
        break;
    }
    if (!target)
        return std::nullopt;
    result.target = *target;

    result.coverage = coverageOf(result.target, workArea);
    if (settings.sizingMode == 2) {
        // Metafiles scale freely: no limit, no tiling of the bands.
        if (!isMetafile)
            applyModeTwoLimits(pictureWidth, pictureHeight, screen, workArea, settings, result);
        const bool ownSize
            = result.target == QSize(int(roundHalfEven(pictureWidth)), int(roundHalfEven(pictureHeight)));
        if (ownSize && !isMetafile)
            result.resize = false;
    }
    if (isMetafile)
        result.resize = true; // metafiles are always rendered, never handed on as they are
    result.scalePercent = result.target.width() * 100.0 / pictureWidth;
    return result;
}

QString sizingStatsLine(const SizingResult& result)
{
    return QStringLiteral("SY Chg WP Stats %1x%2 %3 % deformation %4 % couverture %5 %6")
        .arg(result.target.width())
        .arg(result.target.height())
        .arg(qRound(result.scalePercent))
        .arg(qRound(result.deformation))
        .arg(QString::number(result.coverage, 'f', 2))
        .arg(result.enlargementRatio)
        .trimmed();
}
