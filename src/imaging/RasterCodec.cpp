#include "RasterCodec.h"

#include "PictureFile.h"

#include <QImageReader>

namespace {

void prepare(QImageReader& reader, PictureFile& file, PictureFormat format)
{
    reader.setDevice(file.device());
    reader.setFormat(PictureFormats::qtFormatName(format));
    // Only the reader of the format the magic bytes named; never a guess from the content.
    reader.setAutoDetectImageFormat(false);
    reader.setAutoTransform(true);
}

bool rotatesQuarter(const QImageReader& reader)
{
    return reader.transformation().testFlag(QImageIOHandler::TransformationRotate90);
}

// The stored size libjpeg should decode to: the smallest of its scales (1/8 to 8/8) that still
// covers `target`. Rounded down, because Qt picks the scale from the ratio of the sizes and a size
// rounded up would make it choose the next, larger, eighth.
QSize jpegScaledSize(QSize stored, QSize target)
{
    for (int eighths = 1; eighths < 8; ++eighths) {
        const QSize scaled(int(qint64(stored.width()) * eighths / 8), int(qint64(stored.height()) * eighths / 8));
        if (scaled.width() >= target.width() && scaled.height() >= target.height())
            return scaled;
    }
    return stored;
}

} // namespace

namespace RasterCodec {

std::optional<QSize> probe(PictureFile& file, PictureFormat format, QString* error)
{
    QImageReader reader;
    prepare(reader, file, format);
    const QSize stored = reader.size();
    if (!stored.isValid()) {
        *error
            = QStringLiteral("cannot read the %1 header (%2)").arg(PictureFormats::name(format), reader.errorString());
        return std::nullopt;
    }
    return rotatesQuarter(reader) ? stored.transposed() : stored;
}

QImage decode(PictureFile& file, PictureFormat format, QSize target, QString* error)
{
    QImageReader reader;
    prepare(reader, file, format);
    const QSize stored = reader.size();
    if (format == PictureFormat::Jpeg && stored.isValid() && target.isValid()) {
        // The scaled size is applied before the orientation, so it is given in stored axes.
        const QSize scaled = jpegScaledSize(stored, rotatesQuarter(reader) ? target.transposed() : target);
        if (scaled != stored)
            reader.setScaledSize(scaled);
    }
    QImage image = reader.read();
    if (!image.isNull())
        return image;
    // Qt says "unable to read image data" when the pixels cannot be allocated; say which.
    const QSize wanted = reader.scaledSize().isValid() ? reader.scaledSize() : stored;
    if (wanted.isValid() && QImage(wanted, QImage::Format_ARGB32).isNull())
        *error = QStringLiteral("not enough memory to decode %1 × %2 pixels").arg(wanted.width()).arg(wanted.height());
    else
        *error = QStringLiteral("cannot decode the %1 picture (%2)")
                     .arg(PictureFormats::name(format), reader.errorString());
    return image;
}

} // namespace RasterCodec
