#include "XcbImage.h"

#include <QSysInfo>

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

constexpr size_t PutImageHeaderBytes = 24;
// Larger requests gain nothing in speed and only make the conversion buffer bigger.
constexpr size_t ChunkLimitBytes = 1u << 20;

const xcb_visualtype_t* findVisual(const xcb_screen_t* screen, xcb_visualid_t id)
{
    for (auto depths = xcb_screen_allowed_depths_iterator(screen); depths.rem > 0; xcb_depth_next(&depths)) {
        for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0; xcb_visualtype_next(&visuals)) {
            if (visuals.data->visual_id == id)
                return visuals.data;
        }
    }
    return nullptr;
}

} // namespace

XcbPixelFormat::Channel XcbPixelFormat::channelOf(uint32_t mask)
{
    return mask ? Channel {std::countr_zero(mask), std::popcount(mask)} : Channel {};
}

bool XcbPixelFormat::init(const xcb_setup_t* setup, const xcb_screen_t* screen, QString* error)
{
    const xcb_visualtype_t* visual = findVisual(screen, screen->root_visual);
    if (!visual || (visual->_class != XCB_VISUAL_CLASS_TRUE_COLOR && visual->_class != XCB_VISUAL_CLASS_DIRECT_COLOR)) {
        if (error)
            *error = QStringLiteral("The X screen does not use a true-colour visual");
        return false;
    }
    m_depth = screen->root_depth;
    for (auto formats = xcb_setup_pixmap_formats_iterator(setup); formats.rem > 0; xcb_format_next(&formats)) {
        if (formats.data->depth == m_depth) {
            m_bitsPerPixel = formats.data->bits_per_pixel;
            m_scanlinePad = formats.data->scanline_pad;
        }
    }
    if ((m_bitsPerPixel != 16 && m_bitsPerPixel != 24 && m_bitsPerPixel != 32) || m_scanlinePad <= 0) {
        if (error)
            *error = QStringLiteral("The X screen's depth of %1 bits is not supported").arg(m_depth);
        return false;
    }
    m_lsbFirst = setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
    m_red = channelOf(visual->red_mask);
    m_green = channelOf(visual->green_mask);
    m_blue = channelOf(visual->blue_mask);
    return true;
}

size_t XcbPixelFormat::bytesPerLine(int width) const
{
    const size_t bits = size_t(width) * size_t(m_bitsPerPixel);
    const size_t pad = size_t(m_scanlinePad);
    return (bits + pad - 1) / pad * pad / 8;
}

bool XcbPixelFormat::isNativeRgb32() const
{
    // QImage::Format_RGB32 keeps 0xffRRGGBB in host order: on a little-endian host with an
    // LSB-first server those are the bytes an 8-8-8 visual wants, so rows are copied as they are.
    return m_bitsPerPixel == 32 && m_lsbFirst && QSysInfo::ByteOrder == QSysInfo::LittleEndian && m_red.shift == 16
        && m_red.bits == 8 && m_green.shift == 8 && m_green.bits == 8 && m_blue.shift == 0 && m_blue.bits == 8;
}

uint32_t XcbPixelFormat::pixelOf(QRgb rgb) const
{
    const auto place = [](int value, const Channel& channel) {
        const uint32_t top = (1u << channel.bits) - 1;
        return ((uint32_t(value) * top + 127) / 255) << channel.shift;
    };
    return place(qRed(rgb), m_red) | place(qGreen(rgb), m_green) | place(qBlue(rgb), m_blue);
}

void XcbPixelFormat::convert(const QImage& image, const QRect& source, std::vector<uint8_t>& out) const
{
    const size_t stride = bytesPerLine(source.width());
    out.assign(stride * size_t(source.height()), 0);
    const int bytesPerPixel = m_bitsPerPixel / 8;
    for (int row = 0; row < source.height(); ++row) {
        const auto* in = reinterpret_cast<const QRgb*>(image.constScanLine(source.y() + row)) + source.x();
        uint8_t* line = out.data() + size_t(row) * stride;
        if (isNativeRgb32()) {
            std::memcpy(line, in, size_t(source.width()) * 4);
            continue;
        }
        for (int x = 0; x < source.width(); ++x) {
            const uint32_t pixel = pixelOf(in[x]);
            uint8_t* bytes = line + size_t(x) * size_t(bytesPerPixel);
            for (int b = 0; b < bytesPerPixel; ++b) {
                const int shift = 8 * (m_lsbFirst ? b : bytesPerPixel - 1 - b);
                bytes[b] = uint8_t(pixel >> shift);
            }
        }
    }
}

bool xcbPutImage(xcb_connection_t* connection, xcb_drawable_t drawable, xcb_gcontext_t gc, const XcbPixelFormat& format,
    const QImage& image, const QRect& source, const QPoint& at, XcbRequestLog& log, QString* error)
{
    const size_t maxRequest = size_t(xcb_get_maximum_request_length(connection)) * 4;
    const size_t room
        = std::min(maxRequest > PutImageHeaderBytes ? maxRequest - PutImageHeaderBytes : 0, ChunkLimitBytes);
    const size_t stride = format.bytesPerLine(source.width());
    const int rowsPerRequest = int(std::min<size_t>(room / std::max<size_t>(stride, 1), size_t(source.height())));
    if (rowsPerRequest <= 0) {
        if (error)
            *error
                = QStringLiteral("A row of %1 pixels does not fit in one request to the X server").arg(source.width());
        return false;
    }
    // Whole rows of a native image are already what the server wants: they go out as they are.
    const bool sendRows = format.isNativeRgb32() && source.x() == 0 && source.width() == image.width()
        && size_t(image.bytesPerLine()) == stride;
    std::vector<uint8_t> buffer;
    for (int row = 0; row < source.height(); row += rowsPerRequest) {
        const int rows = std::min(rowsPerRequest, source.height() - row);
        const uint8_t* data = nullptr;
        if (sendRows) {
            data = image.constScanLine(source.y() + row);
        } else {
            format.convert(image, QRect(source.x(), source.y() + row, source.width(), rows), buffer);
            data = buffer.data();
        }
        // xcb has written or copied the data by the time the call returns, so the buffer is reused.
        log.add(xcb_put_image_checked(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, gc, uint16_t(source.width()),
                    uint16_t(rows), int16_t(at.x()), int16_t(at.y() + row), 0, format.depth(),
                    uint32_t(stride * size_t(rows)), data),
            "receive the wallpaper's pixels");
    }
    return true;
}
