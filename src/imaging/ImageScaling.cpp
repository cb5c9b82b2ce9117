#include "ImageScaling.h"

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

} // namespace ImageScaling
