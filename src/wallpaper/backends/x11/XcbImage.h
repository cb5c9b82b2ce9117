#pragma once

#include "XcbSupport.h"

#include <QImage>
#include <QPoint>

// How the server lays out the pixels of a drawable of the root window's depth (ZPixmap format):
// bits per pixel, row padding, byte order and where the visual puts red, green and blue.
class XcbPixelFormat
{
public:
    /// Reads the layout of the root depth and visual of `screen`. False, with a reason, when the
    /// visual is not true colour or the depth uses a pixel size this code does not write.
    bool init(const xcb_setup_t* setup, const xcb_screen_t* screen, QString* error);

    uint8_t depth() const { return m_depth; }
    /// Bytes of one row of `width` pixels, padding included.
    size_t bytesPerLine(int width) const;
    /// Writes the pixels of `source` (a rectangle of an RGB32 image) in the server's layout to `out`.
    void convert(const QImage& image, const QRect& source, std::vector<uint8_t>& out) const;
    /// True when the server's pixels are laid out as QImage::Format_RGB32 on this host.
    bool isNativeRgb32() const;

private:
    struct Channel
    {
        int shift = 0;
        int bits = 0;
    };
    static Channel channelOf(uint32_t mask);
    uint32_t pixelOf(QRgb rgb) const;

    uint8_t m_depth = 0;
    int m_bitsPerPixel = 0;
    int m_scanlinePad = 0;
    bool m_lsbFirst = true;
    Channel m_red, m_green, m_blue;
};

/// Sends `source` (a rectangle of an RGB32 image) to `drawable` at `at`, cut into as many PutImage
/// requests as the server's largest request (BIG-REQUESTS included) needs. The requests go into
/// `log`; false with a reason when not even one row fits in a request.
bool xcbPutImage(xcb_connection_t* connection, xcb_drawable_t drawable, xcb_gcontext_t gc, const XcbPixelFormat& format,
    const QImage& image, const QRect& source, const QPoint& at, XcbRequestLog& log, QString* error);
