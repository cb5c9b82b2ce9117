#pragma once

#include <QImage>

#include <optional>

class PictureFile;

// HEIF and AVIF pictures through libheif (its HEVC and AV1 decoders).
namespace HeifCodec {

/// The primary picture's size as shown (its rotation and mirroring applied), from the container.
std::optional<QSize> probe(PictureFile& file, QString* error);

/// Decodes the primary picture as 8-bit RGB or RGBA, transformations applied.
QImage decode(PictureFile& file, QString* error);

} // namespace HeifCodec
