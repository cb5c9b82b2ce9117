#pragma once

#include <QColor>
#include <QImage>

#include <optional>

class PictureFile;

// Windows metafiles: WMF through libwmf's bitmap renderer, EMF through libemf2svg and Qt Svg.
// Being drawings, they are rendered at the size asked for rather than decoded and scaled.
namespace MetafileCodec {

/// The WMF drawing's size at 96 dpi, as libwmf measures it.
std::optional<QSize> probeWmf(PictureFile& file, QString* error);

/// Renders the WMF drawing so that it covers `target` with its own proportions (libwmf keeps
/// them); the caller stretches the result to `target` when the proportions differ.
QImage decodeWmf(PictureFile& file, QSize target, QString* error);

/// The EMF drawing's size at 96 dpi, from its header's frame (or its bounds when the frame is empty).
std::optional<QSize> probeEmf(PictureFile& file, QString* error);

/// Renders the EMF drawing stretched to exactly `target`, over `background`.
QImage decodeEmf(PictureFile& file, QSize target, QColor background, QString* error);

} // namespace MetafileCodec
