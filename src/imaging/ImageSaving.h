#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

// Writing pictures the program makes (the wallpaper bitmap, thumbnails). Every write goes through
// QSaveFile: the new content goes to a temporary file in the same folder and replaces the old file
// only once complete, so a full disk or a crash leaves the old file whole.
namespace ImageSaving {

/// Writes `image` to `path` as an uncompressed 24-bit BMP (an alpha channel is dropped: flatten
/// first with ImageScaling::flatten when it matters). False, with "<path>: <cause>" in
/// `error`, when the folder is missing or read-only, the disk is full or the image is null.
bool saveBitmap(const QImage& image, const QString& path, QString* error = nullptr);

/// Writes `image` to `path` as a baseline JPEG of `quality` (0 to 100), the same way: false, with
/// "<path>: <cause>" in `error`, and the old file (or no file) left as it was on any failure.
bool saveJpeg(const QImage& image, const QString& path, int quality, QString* error = nullptr);

/// Copies the file `source` to `destination` the same way, for a picture shown as it is.
bool copyFile(const QString& source, const QString& destination, QString* error = nullptr);

} // namespace ImageSaving
