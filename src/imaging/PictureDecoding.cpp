#include "PictureDecoding.h"

#include "HeifCodec.h"
#include "ImageLimits.h"
#include "ImageScaling.h"
#include "MetafileCodec.h"
#include "PictureFile.h"
#include "PictureIntegrity.h"
#include "RasterCodec.h"

namespace {

std::optional<QSize> probeSize(PictureFile& file, PictureFormat format, QString* error)
{
    switch (format) {
    case PictureFormat::Heif:
    case PictureFormat::Avif:
        return HeifCodec::probe(file, error);
    case PictureFormat::Wmf:
        return MetafileCodec::probeWmf(file, error);
    case PictureFormat::Emf:
        return MetafileCodec::probeEmf(file, error);
    default:
        return RasterCodec::probe(file, format, error);
    }
}

QImage decodeFormat(PictureFile& file, PictureFormat format, QSize target, QColor background, QString* error)
{
    switch (format) {
    case PictureFormat::Heif:
    case PictureFormat::Avif:
        return HeifCodec::decode(file, error);
    case PictureFormat::Wmf:
        return MetafileCodec::decodeWmf(file, target, error);
    case PictureFormat::Emf:
        return MetafileCodec::decodeEmf(file, target, background, error);
    default:
        return RasterCodec::decode(file, format, target, error);
    }
}

QString outOfMemory(QSize size)
{
    return QStringLiteral("not enough memory for %1 × %2 pixels").arg(size.width()).arg(size.height());
}

} // namespace

namespace PictureDecoding {

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
    if (file.open(path, &cause) && (probed = probe(file, &cause))) {
        // libwmf keeps each rendered bitmap for the life of the process: only the helper, which
        // retires when it grows, may render WMF.
        if (probed->format == PictureFormat::Wmf)
            cause = QStringLiteral("WMF drawings are rendered by the decoding helper only");
        else
            image = decode(file, *probed, target, background, &cause);
    }
    if (image.isNull() && error)
        *error = path + QStringLiteral(": ") + cause;
    if (info && probed)
        *info = *probed;
    return image;
}

} // namespace PictureDecoding
