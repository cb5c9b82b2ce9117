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

/// Decoders of the formats that need libraries of their own (HEIF/AVIF, WMF, EMF). Only the helper
/// process links them and installs them at its start: the tray program then starts without
/// libheif's codecs and the metafile renderers, and an exotic file never reaches them in-process.
struct LibraryCodecs
{
    std::optional<QSize> (*probe)(PictureFile& file, PictureFormat format, QString* error) = nullptr;
    QImage (*decode)(PictureFile& file, PictureFormat format, QSize target, QColor background, QString* error)
        = nullptr;
};
void installLibraryCodecs(const LibraryCodecs& codecs);

/// Whether this process can decode `format` (the library formats need installLibraryCodecs()).
bool decodesHere(PictureFormat format);

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
