#pragma once

#include "PictureFormat.h"

#include <QColor>
#include <QImage>

#include <optional>

class PictureFile;

// Decoding proper, the same in the helper process and in the program: format from the magic bytes
// against the allow-list, declared size against the memory bound, then the format's decoder,
// flattening and exact scaling. Errors are causes ("the file is empty"); callers add the path.
namespace PictureDecoding {

/// The format and shown size of the opened `file`, without decoding pixels. Refuses formats outside
/// the allow-list and pictures whose declared size passes ImageLimits.
std::optional<PictureInfo> probe(PictureFile& file, QString* error);

/// Decodes `file`, probed as `info`, to exactly `target` (its own size when `target` is empty) as
/// opaque 32-bit RGB over `background`. `decodedSize`, when given, receives the size the decoder
/// itself produced before scaling (smaller than the picture for a reduced JPEG decode).
QImage decode(PictureFile& file, const PictureInfo& info, QSize target, QColor background, QString* error,
    QSize* decodedSize = nullptr);

/// Opens, probes and decodes `path` in this process. For files the program wrote itself; anything
/// else goes through ImageDecoder and its helper process.
QImage decodePath(const QString& path, QSize target, QColor background, QString* error, PictureInfo* info = nullptr);

} // namespace PictureDecoding
