#include "WallpaperPreview.h"

#include <QLocale>

#include <cmath>

namespace WallpaperPreview {

namespace {

// "##0.0#": at least one decimal, at most two.
QString oneOrTwoDecimals(double value)
{
    QString text = QString::number(std::round(value * 100.0) / 100.0, 'f', 2);
    if (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    return text;
}

} // namespace

Statistics statistics(const SizingResult& sizing, const QSize& workArea)
{
    Statistics result;
    result.scale = QString::number(qRound(sizing.scalePercent)) + QStringLiteral(" %");
    result.deformation = QString::number(qRound(sizing.deformation)) + QStringLiteral(" %");
    result.ratio = sizing.enlargementLimited ? sizing.enlargementRatio : QString();
    result.ratioWarning = sizing.enlargementLimited;
    if (!workArea.isEmpty()) {
        result.widthChange = oneOrTwoDecimals((sizing.target.width() - workArea.width()) * 100.0 / workArea.width())
            + QStringLiteral(" %");
        result.heightChange = oneOrTwoDecimals((sizing.target.height() - workArea.height()) * 100.0 / workArea.height())
            + QStringLiteral(" %");
    }
    result.coverage = QString::number(sizing.coverage, 'f', 2);
    result.deformationWarning = sizing.deformationWarning;
    return result;
}

QList<Monitor> layout(const QList<QRect>& monitors, int currentIndex, const SizingResult& sizing, const QSizeF& canvas)
{
    QRect all;
    for (const QRect& monitor : monitors)
        all = all.united(monitor);
    QList<Monitor> result;
    if (all.isEmpty() || canvas.isEmpty())
        return result;
    const double scale = std::min(canvas.width() / all.width(), canvas.height() / all.height());
    const QPointF offset((canvas.width() - all.width() * scale) / 2, (canvas.height() - all.height() * scale) / 2);
    for (qsizetype i = 0; i < monitors.size(); ++i) {
        const QRect& monitor = monitors[i];
        Monitor shown;
        shown.frame = QRectF(
            offset + QPointF(monitor.x() - all.x(), monitor.y() - all.y()) * scale, QSizeF(monitor.size()) * scale);
        shown.current = i == currentIndex;
        shown.tiled = sizing.tileWallpaper.trimmed() == QLatin1String("1");
        shown.stretched = !shown.tiled && sizing.wallpaperStyle.trimmed() == QLatin1String("2");
        const QSizeF size = shown.stretched ? shown.frame.size() : QSizeF(sizing.target) * scale;
        shown.picture = shown.tiled || shown.stretched
            ? QRectF(shown.frame.topLeft(), size)
            : QRectF(shown.frame.center() - QPointF(size.width() / 2, size.height() / 2), size);
        result << shown;
    }
    return result;
}

} // namespace WallpaperPreview
