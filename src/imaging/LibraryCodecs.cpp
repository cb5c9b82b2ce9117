#include "LibraryCodecs.h"

#include "HeifCodec.h"
#include "MetafileCodec.h"
#include "PictureDecoding.h"

namespace {

std::optional<QSize> probe(PictureFile& file, PictureFormat format, QString* error)
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
        *error = QStringLiteral("no library decoder for %1").arg(PictureFormats::name(format));
        return std::nullopt;
    }
}

QImage decode(PictureFile& file, PictureFormat format, QSize target, QColor background, QString* error)
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
        *error = QStringLiteral("no library decoder for %1").arg(PictureFormats::name(format));
        return {};
    }
}

} // namespace

namespace LibraryCodecs {

void install()
{
    PictureDecoding::installLibraryCodecs({&probe, &decode});
}

} // namespace LibraryCodecs
