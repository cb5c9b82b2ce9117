#pragma once

#include "PictureFormat.h"

#include <QColor>
#include <QImage>
#include <QString>

#include <memory>
#include <optional>

// Decodes pictures from files the program did not write (the user's folders, downloads) in a
// helper process, `tapisol-decoder`, found beside the program. One long-lived helper serves every
// request; it runs under a memory and a processor-time limit and each request under a wall-clock
// timeout, so a file that crashes, hangs or floods a decoder costs that one picture: the helper is
// stopped, the call returns the reason, and the next call starts a fresh helper.
//
// Calls are synchronous (the wallpaper renderer is), and an ImageDecoder belongs to the thread
// that created it; a thread that decodes in parallel makes its own.
class ImageDecoder
{
public:
    struct Limits
    {
        int memoryMb = 2048;   // the helper's data segment
        int cpuSeconds = 15;   // processor time for one picture
        int timeoutMs = 20000; // wall-clock time for one picture, start of the helper included
        int retireMb = 256;    // a helper grown past this (a large picture, a leaking library) is replaced
        int idleSeconds = 20;  // a helper with nothing to do exits; the next picture starts another
        // Decode raster pictures in this process instead (the formats that need libraries of their
        // own, HEIF/AVIF and metafiles, still go to the helper, the only process linking them). Only
        // for a short-lived command whose own crash costs nothing but itself (`tapisol --apply`
        // with no instance running): the helper's start and libraries would double its cost.
        bool inProcess = false;
    };

    /// What a decode learnt besides the pixels.
    struct Details
    {
        PictureInfo picture;
        QSize decodedSize; // what the format's decoder produced before the exact scaling
    };

    ImageDecoder();
    explicit ImageDecoder(const Limits& limits);
    ~ImageDecoder();
    ImageDecoder(const ImageDecoder&) = delete;
    ImageDecoder& operator=(const ImageDecoder&) = delete;

    /// The picture's format and shown size (EXIF orientation applied; a metafile at 96 dpi),
    /// read from its header without decoding pixels. Nothing, with "<path>: <cause>" in `error`,
    /// when the file is not an allowed picture or declares a size past ImageLimits.
    std::optional<PictureInfo> probe(const QString& path, QString* error = nullptr);

    /// The picture scaled smoothly to exactly `targetSize` (its own size when `targetSize` is
    /// empty), as opaque 32-bit RGB with any transparency laid over `background`. A large JPEG is
    /// decoded at reduced size when the target allows. A null image, with "<path>: <cause>" in
    /// `error`, on any failure.
    QImage decode(
        const QString& path, QSize targetSize, QColor background, QString* error = nullptr, Details* details = nullptr);

    /// Why a thumbnail was not made: the picture itself (damaged, not a picture) or a passing
    /// state that must not be taken for damage (the file gone or its disk unplugged, the thumbnail's
    /// folder read-only or full, the helper stopped).
    enum class ThumbnailFailure
    {
        None,
        Unreadable,  // the picture could not be opened
        Undecodable, // the picture was read and is not a picture that can be decoded
        Unwritable,  // the thumbnail file could not be written; nothing is left of it
        Helper,      // the helper crashed, timed out or could not be started
    };

    /// Makes the thumbnail of `picture` in the helper, which decodes it fitted into `box` (its own
    /// size when it fits; ImageScaling::fitInto) and writes it to `outputPath` as a JPEG of
    /// `quality` through QSaveFile: the picture's pixels never come into this process. The size
    /// written, or an empty size with "<path>: <cause>" in `error` and the reason in `failure`.
    QSize makeThumbnail(const QString& picture, QSize box, const QString& outputPath, int quality = 75,
        QString* error = nullptr, ThumbnailFailure* failure = nullptr);

    /// Same as decode(), in this process, for files the program wrote itself (its own bitmap).
    static QImage decodeTrusted(const QString& path, QSize targetSize, QColor background, QString* error = nullptr);

    /// Process id of the running helper, or 0 when none runs.
    qint64 helperProcessId() const;

    /// The helper program: the path given to setHelperProgram(), else $TAPISOL_DECODER, else
    /// `tapisol-decoder` in the program's folder.
    static QString helperProgram();
    static void setHelperProgram(const QString& path);

private:
    struct Private;
    std::unique_ptr<Private> d;
};
