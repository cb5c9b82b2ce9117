#include "ImageLimits.h"

namespace {

bool fits(QSize size, int maxSide, qint64 maxPixels, const char* what, QString* reason)
{
    QString why;
    if (size.width() <= 0 || size.height() <= 0)
        why = QStringLiteral("%1 of %2 × %3 pixels is empty")
                  .arg(QLatin1String(what))
                  .arg(size.width())
                  .arg(size.height());
    else if (size.width() > maxSide || size.height() > maxSide)
        why = QStringLiteral("%1 of %2 × %3 pixels has a side longer than %4 pixels")
                  .arg(QLatin1String(what))
                  .arg(size.width())
                  .arg(size.height())
                  .arg(maxSide);
    else if (qint64(size.width()) * size.height() > maxPixels)
        why = QStringLiteral("%1 of %2 × %3 pixels is larger than the limit of %4 pixels")
                  .arg(QLatin1String(what))
                  .arg(size.width())
                  .arg(size.height())
                  .arg(maxPixels);
    if (why.isEmpty())
        return true;
    if (reason)
        *reason = why;
    return false;
}

} // namespace

namespace ImageLimits {

bool declaredSizeFits(QSize size, QString* reason)
{
    return fits(size, kMaxSide, kMaxPixels, "the declared size", reason);
}

bool canvasFits(QSize size, QString* reason)
{
    return fits(size, kMaxCanvasSide, kMaxCanvasPixels, "a canvas", reason);
}

} // namespace ImageLimits
