#include "JpegBands.h"

#include <QThread>

#include <csetjmp>
#include <cstdio>
#include <thread>

#include <jpeglib.h>

namespace {

// Below this many output pixels a second thread costs more than it saves.
constexpr qint64 MinPixels = 2'000'000;

struct ErrorManager
{
    jpeg_error_mgr base;
    std::jmp_buf escape;
};

[[noreturn]] void leave(j_common_ptr info)
{
    std::longjmp(reinterpret_cast<ErrorManager*>(info->err)->escape, 1);
}

void quiet(j_common_ptr)
{ } // warnings (a damaged stretch of data) are not ours to print

// One decoder over the file's bytes, set for the output both threads share. Plain C state only:
// libjpeg's errors leave through longjmp.
struct Decoder
{
    jpeg_decompress_struct info {};
    ErrorManager errors {};

    Decoder() { info.err = jpeg_std_error(&errors.base); }
    ~Decoder() { jpeg_destroy_decompress(&info); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
};

// Reads the header and starts the decompression at the given scale; false when libjpeg refuses
// or the picture is not one the bands take.
bool start(Decoder& d, const QByteArray& data, int eighths)
{
    d.errors.base.error_exit = leave;
    d.errors.base.output_message = quiet;
    if (setjmp(d.errors.escape))
        return false;
    jpeg_create_decompress(&d.info);
    jpeg_mem_src(
        &d.info, reinterpret_cast<const unsigned char*>(data.constData()), static_cast<unsigned long>(data.size()));
    if (jpeg_read_header(&d.info, TRUE) != JPEG_HEADER_OK)
        return false;
    // A progressive picture is decoded whole before its first row comes out: nothing to share.
    if (jpeg_has_multiple_scans(&d.info))
        return false;
    if (d.info.jpeg_color_space != JCS_YCbCr && d.info.jpeg_color_space != JCS_RGB
        && d.info.jpeg_color_space != JCS_GRAYSCALE) {
        return false;
    }
    d.info.scale_num = unsigned(eighths);
    d.info.scale_denom = 8;
    d.info.out_color_space = JCS_EXT_BGRA; // QImage::Format_RGB32's bytes, alpha set to 255
    return jpeg_start_decompress(&d.info);
}

// Decodes output rows [from, to) into the rows of `pixels`; false on an error of libjpeg's.
bool decodeRows(Decoder& d, uchar* pixels, qsizetype bytesPerLine, int from, int to)
{
    if (setjmp(d.errors.escape))
        return false;
    if (from > 0 && jpeg_skip_scanlines(&d.info, JDIMENSION(from)) != JDIMENSION(from))
        return false;
    while (int(d.info.output_scanline) < to) {
        JSAMPROW row = pixels + bytesPerLine * d.info.output_scanline;
        if (jpeg_read_scanlines(&d.info, &row, 1) != 1)
            return false;
    }
    if (to == int(d.info.output_height))
        jpeg_finish_decompress(&d.info);
    else
        jpeg_abort_decompress(&d.info);
    return true;
}

} // namespace

namespace JpegBands {

bool worthSplitting(QSize stored, int eighths)
{
    // libjpeg rounds a scaled side up.
    const qint64 width = (qint64(stored.width()) * eighths + 7) / 8;
    const qint64 height = (qint64(stored.height()) * eighths + 7) / 8;
    return QThread::idealThreadCount() >= 2 && width * height >= MinPixels;
}

std::optional<QImage> decode(const QByteArray& data, int eighths)
{
    if (QThread::idealThreadCount() < 2 || eighths < 1 || eighths > 8)
        return std::nullopt;
    Decoder top;
    Decoder bottom;
    if (!start(top, data, eighths) || !start(bottom, data, eighths))
        return std::nullopt;
    const int width = int(top.info.output_width);
    const int height = int(top.info.output_height);
    if (qint64(width) * height < MinPixels || top.info.output_components != 4)
        return std::nullopt;
    QImage image(width, height, QImage::Format_RGB32);
    if (image.isNull())
        return std::nullopt;
    // The bottom thread entropy-decodes the top rows as it skips them, so the top thread takes a
    // little more than half of the rows.
    const int split = height * 55 / 100;
    // Both threads write through one pointer taken here: QImage's own accessors are not for
    // two threads at once.
    uchar* const pixels = image.bits();
    const qsizetype bytesPerLine = image.bytesPerLine();
    bool bottomDone = false;
    std::thread other([&] { bottomDone = decodeRows(bottom, pixels, bytesPerLine, split, height); });
    const bool topDone = decodeRows(top, pixels, bytesPerLine, 0, split);
    other.join();
    if (!topDone || !bottomDone)
        return std::nullopt;
    return image;
}

} // namespace JpegBands
