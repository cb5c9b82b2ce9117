#include "ImageScaling.h"

namespace {

// numerator / denominator rounded to the nearest integer, a half to the even one, as the
// thumbnails of the older files were sized; exact where floating point could land on either side.
qint64 roundHalfEven(qint64 numerator, qint64 denominator)
{
    const qint64 quotient = numerator / denominator;
    const qint64 twice = 2 * (numerator % denominator);
    if (twice > denominator || (twice == denominator && quotient % 2 != 0))
        return quotient + 1;
    return quotient;
}

} // namespace

namespace ImageScaling {

QImage flatten(QImage image, QColor background)
{
    if (image.isNull())
        return image;
    if (!image.hasAlphaChannel()) {
        if (image.format() != QImage::Format_RGB32)
            image.convertTo(QImage::Format_RGB32);
        return image;
    }
    image.convertTo(QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return image;
    // Premultiplied "over": the result is the pixel plus the background times its transparency.
    const int red = background.red(), green = background.green(), blue = background.blue();
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = line[x];
            const int clear = 255 - qAlpha(p);
            if (clear == 0)
                continue;
            line[x] = qRgb(qRed(p) + (red * clear + 127) / 255, qGreen(p) + (green * clear + 127) / 255,
                qBlue(p) + (blue * clear + 127) / 255);
        }
    }
    image.reinterpretAsFormat(QImage::Format_RGB32);
    return image;
}

QImage scaleExactly(const QImage& image, QSize target)
{
    if (image.isNull() || image.size() == target)
        return image;
    return image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

QSize fitInto(QSize size, QSize box)
{
    if (size.isEmpty() || box.isEmpty() || (size.width() <= box.width() && size.height() <= box.height()))
        return size;
    const qint64 width = size.width(), height = size.height();
    // Relatively wider than the box: the width fills it; otherwise (the same shape too) the height.
    if (width * box.height() > qint64(box.width()) * height)
        return QSize(box.width(), int(qMax<qint64>(1, roundHalfEven(box.width() * height, width))));
    return QSize(int(qMax<qint64>(1, roundHalfEven(box.height() * width, height))), box.height());
}

} // namespace ImageScaling
