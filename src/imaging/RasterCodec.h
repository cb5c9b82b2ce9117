#pragma once

#include "PictureFormat.h"

#include <QImage>

#include <optional>

class PictureFile;

// The formats Qt's own image readers decode: JPEG, PNG, BMP, GIF, WebP, TIFF and TGA.
namespace RasterCodec {

/// The size as shown (EXIF orientation applied), read from the header only.
std::optional<QSize> probe(PictureFile& file, PictureFormat format, QString* error);

/// Decodes the picture, orientation applied. A JPEG is decoded by libjpeg at the smallest eighth of
/// its size that still covers `target` on both sides, which saves most of the memory and part of
/// the time; the result is therefore not `target`-sized and the caller scales it.
QImage decode(PictureFile& file, PictureFormat format, QSize target, QString* error);

} // namespace RasterCodec
