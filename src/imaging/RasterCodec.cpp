#include "RasterCodec.h"

#include "JpegBands.h"
#include "PictureFile.h"

#include <QImageReader>
#include <QTransform>

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

// The smallest of libjpeg's scales (1/8 to 8/8, in eighths) that still covers `target`.
int jpegEighths(QSize stored, QSize target)
{
    for (int eighths = 1; eighths < 8; ++eighths) {
        const QSize scaled(int(qint64(stored.width()) * eighths / 8), int(qint64(stored.height()) * eighths / 8));
        if (scaled.width() >= target.width() && scaled.height() >= target.height())
            return eighths;
    }
    return 8;
}

// The stored size Qt's reader should decode to at that scale. Rounded down, because Qt picks the
// scale from the ratio of the sizes and a size rounded up would make it choose the next eighth.
QSize jpegScaledSize(QSize stored, int eighths)
{
    return QSize(int(qint64(stored.width()) * eighths / 8), int(qint64(stored.height()) * eighths / 8));
}

// The EXIF orientation applied the way Qt's readers apply it.
QImage oriented(QImage image, QImageIOHandler::Transformations transformation)
{
    if (transformation.testFlag(QImageIOHandler::TransformationMirror)
        || transformation.testFlag(QImageIOHandler::TransformationFlip)) {
        image = std::move(image).mirrored(transformation.testFlag(QImageIOHandler::TransformationMirror),
            transformation.testFlag(QImageIOHandler::TransformationFlip));
    }
    if (transformation.testFlag(QImageIOHandler::TransformationRotate90))
        image = image.transformed(QTransform().rotate(90));
    return image;
}

// Large JPEGs in the file's bytes: more than that is left to the streaming reader.
constexpr qint64 MaxBandedFileBytes = qint64(256) << 20;

// A large sequential JPEG decoded on two threads; nothing when the picture is not one for that.
std::optional<QImage> decodeJpegInBands(PictureFile& file, const QImageReader& reader, int eighths)
{
    QByteArray data;
    QString unused;
    if (!JpegBands::worthSplitting(reader.size(), eighths) || file.size() > MaxBandedFileBytes
        || !file.readAll(&data, MaxBandedFileBytes, &unused)) {
        return std::nullopt;
    }
    std::optional<QImage> image = JpegBands::decode(data, eighths);
    if (image)
        *image = oriented(std::move(*image), reader.transformation());
    return image;
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
    if (format == PictureFormat::Jpeg && stored.isValid()) {
        // The scale is chosen before the orientation is applied, so in stored axes.
        const int eighths
            = target.isValid() ? jpegEighths(stored, rotatesQuarter(reader) ? target.transposed() : target) : 8;
        if (std::optional<QImage> banded = decodeJpegInBands(file, reader, eighths))
            return *banded;
        if (eighths < 8)
            reader.setScaledSize(jpegScaledSize(stored, eighths));
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
