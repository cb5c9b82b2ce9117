#pragma once

#include <QColor>
#include <QImage>

// The two steps every decoded picture goes through before it is shown or saved.
namespace ImageScaling {

/// Returns `image` as opaque 32-bit RGB: transparent and translucent parts laid over `background`;
/// grey, indexed, 16-bit and float pictures converted. Works in place where the format allows, so a
/// large picture does not need a second buffer. A null image is returned when memory runs out.
QImage flatten(QImage image, QColor background);

/// Returns `image` scaled smoothly to exactly `target` (proportions are the caller's choice).
QImage scaleExactly(const QImage& image, QSize target);

/// The size of a picture of `size` fitted into `box` keeping its proportions, the free side
/// rounded to the nearest pixel (half to even) and at least 1; `size` itself when it already fits.
QSize fitInto(QSize size, QSize box);

} // namespace ImageScaling
