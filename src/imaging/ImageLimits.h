#pragma once

#include <QSize>
#include <QString>

// Memory bounds of the imaging module. A picture declares its size in its header; a hostile one
// declares a huge size in a few bytes ("decompression bomb"), so the declared size is checked
// before a single pixel is decoded.
namespace ImageLimits {

/// Longest side a picture may declare (the JPEG maximum).
inline constexpr int kMaxSide = 65535;
/// Most pixels a picture may declare: 16384 × 16384 (1 GiB as 32-bit pixels), more than any camera.
inline constexpr qint64 kMaxPixels = 16384LL * 16384;
/// Longest side of a canvas we create (X11 pixmaps stop there too).
inline constexpr int kMaxCanvasSide = 32767;
/// Most pixels of a canvas we create: 128 Mi pixels (512 MiB).
inline constexpr qint64 kMaxCanvasPixels = 128LL * 1024 * 1024;

/// True when a picture declaring `size` may be decoded; otherwise says why in `reason`.
bool declaredSizeFits(QSize size, QString* reason = nullptr);

/// True when a canvas of `size` may be allocated; otherwise says why in `reason`.
bool canvasFits(QSize size, QString* reason = nullptr);

} // namespace ImageLimits
