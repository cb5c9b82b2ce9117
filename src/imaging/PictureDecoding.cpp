#include "PictureDecoding.h"

#include "ImageLimits.h"
#include "ImageScaling.h"
#include "PictureFile.h"
#include "PictureIntegrity.h"
#include "RasterCodec.h"

namespace {

PictureDecoding::LibraryCodecs libraryCodecs;

bool needsLibraryCodec(PictureFormat format)
{
    switch (format) {
    case PictureFormat::Heif:
    case PictureFormat::Avif:
    case PictureFormat::Wmf:
    case PictureFormat::Emf:
        return true;
    default:
        return false;
    }
}

QString notDecodedHere(PictureFormat format)
{
    return QStringLiteral("%1 pictures are decoded by the decoding helper only").arg(PictureFormats::name(format));
}

std::optional<QSize> probeSize(PictureFile& file, PictureFormat format, QString* error)
{
    if (!needsLibraryCodec(format))
        return RasterCodec::probe(file, format, error);
    if (!libraryCodecs.probe) {
        *error = notDecodedHere(format);
        return std::nullopt;
    }
    return libraryCodecs.probe(file, format, error);
}

QImage decodeFormat(PictureFile& file, PictureFormat format, QSize target, QColor background, QString* error)
{
    if (!needsLibraryCodec(format))
        return RasterCodec::decode(file, format, target, error);
    if (!libraryCodecs.decode) {
        *error = notDecodedHere(format);
        return {};
    }
    return libraryCodecs.decode(file, format, target, background, error);
}

QString outOfMemory(QSize size)
{
    return QStringLiteral("not enough memory for %1 × %2 pixels").arg(size.width()).arg(size.height());
}

} // namespace

namespace PictureDecoding {

void installLibraryCodecs(const LibraryCodecs& codecs)
{
    libraryCodecs = codecs;
}

bool decodesHere(PictureFormat format)
{
    return !needsLibraryCodec(format) || libraryCodecs.decode;
}

std::optional<PictureInfo> probe(PictureFile& file, QString* error)
{
    PictureInfo info;
    info.format = PictureFormats::sniff(file.head(), file.tail(), error);
    if (info.format == PictureFormat::Unknown)
        return std::nullopt;
    const std::optional<QSize> size = probeSize(file, info.format, error);
    if (!size)
        return std::nullopt;
    info.size = *size;
    QString reason;
    if (!ImageLimits::declaredSizeFits(info.size, &reason)) {
        *error = QStringLiteral("refused without decoding: %1").arg(reason);
        return std::nullopt;
    }
    return info;
}

QImage decode(
    PictureFile& file, const PictureInfo& info, QSize target, QColor background, QString* error, QSize* decodedSize)
{
    if (target.isEmpty())
        target = info.size;
    QString reason;
    if (!ImageLimits::canvasFits(target, &reason)) {
        *error = QStringLiteral("cannot be shown at that size: %1").arg(reason);
        return {};
    }
    if (!PictureIntegrity::isComplete(file, info.format, error))
        return {};
    QImage image = decodeFormat(file, info.format, target, background, error);
    if (image.isNull())
        return image;
    if (decodedSize)
        *decodedSize = image.size();
    const QSize decoded = image.size();
    image = ImageScaling::flatten(std::move(image), background);
    if (image.isNull()) {
        *error = outOfMemory(decoded);
        return image;
    }
    image = ImageScaling::scaleExactly(image, target);
    if (image.isNull())
        *error = outOfMemory(target);
    return image;
}

QImage decodePath(const QString& path, QSize target, QColor background, QString* error, PictureInfo* info)
{
    PictureFile file;
    QString cause;
    std::optional<PictureInfo> probed;
    QImage image;
    if (file.open(path, &cause) && (probed = probe(file, &cause)))
        image = decode(file, *probed, target, background, &cause);
    if (image.isNull() && error)
        *error = path + QStringLiteral(": ") + cause;
    if (info && probed)
        *info = *probed;
    return image;
}

} // namespace PictureDecoding
