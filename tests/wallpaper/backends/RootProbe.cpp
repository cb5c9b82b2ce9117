#include "RootProbe.h"

#include <QPainter>

#include <xcb/res.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

RootProbe::RootProbe()
{
    int screenNumber = 0;
    m_c = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(m_c))
        return;
    auto it = xcb_setup_roots_iterator(xcb_get_setup(m_c));
    for (; screenNumber > 0 && it.rem > 0; --screenNumber)
        xcb_screen_next(&it);
    m_screen = it.data;
    for (auto format = xcb_setup_pixmap_formats_iterator(xcb_get_setup(m_c)); format.rem > 0;
         xcb_format_next(&format)) {
        if (format.data->depth == m_screen->root_depth)
            m_bytesPerPixel = format.data->bits_per_pixel / 8;
    }
    for (auto depth = xcb_screen_allowed_depths_iterator(m_screen); depth.rem > 0; xcb_depth_next(&depth)) {
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0; xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id != m_screen->root_visual)
                continue;
            const auto channel = [](uint32_t mask) { return Channel {std::countr_zero(mask), std::popcount(mask)}; };
            m_red = channel(visual.data->red_mask);
            m_green = channel(visual.data->green_mask);
            m_blue = channel(visual.data->blue_mask);
        }
    }
}

RootProbe::~RootProbe()
{
    xcb_disconnect(m_c);
}

QImage RootProbe::grab(xcb_drawable_t drawable) const
{
    const QSize size = rootSize();
    auto* reply = xcb_get_image_reply(
        m_c, xcb_get_image(m_c, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, 0, 0, size.width(), size.height(), ~0u), nullptr);
    if (!reply)
        return {};
    // The servers used here keep 16 or 32 bits a pixel, least significant byte first, rows unpadded.
    QImage image(size, QImage::Format_RGB32);
    if (xcb_get_image_data_length(reply) != size.width() * size.height() * m_bytesPerPixel)
        image = QImage();
    const uint8_t* data = xcb_get_image_data(reply);
    const auto expand = [](uint32_t pixel, const Channel& channel) {
        const uint32_t top = (1u << channel.bits) - 1;
        return int(((pixel >> channel.shift) & top) * 255 / top);
    };
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const uint8_t* at = data + (y * size.width() + x) * m_bytesPerPixel;
            const uint32_t pixel
                = m_bytesPerPixel == 2 ? uint32_t(at[0] | at[1] << 8) : uint32_t(at[0] | at[1] << 8 | at[2] << 16);
            image.setPixel(x, y, qRgb(expand(pixel, m_red), expand(pixel, m_green), expand(pixel, m_blue)));
        }
    }
    std::free(reply);
    return image;
}

QString RootProbe::mismatches(const QImage& image, const QList<PixelCheck>& checks) const
{
    const int fewest = std::min({m_red.bits, m_green.bits, m_blue.bits});
    const int tolerance = fewest >= 8 ? 0 : 256 >> fewest;
    const auto near = [tolerance](int a, int b) { return std::abs(a - b) <= tolerance; };
    QString result;
    for (const auto& [point, expected] : checks) {
        const QRgb actual = image.pixel(point);
        if (!near(qRed(actual), qRed(expected)) || !near(qGreen(actual), qGreen(expected))
            || !near(qBlue(actual), qBlue(expected))) {
            result += QStringLiteral("\nat %1,%2: %3 instead of %4")
                          .arg(point.x())
                          .arg(point.y())
                          .arg(actual & 0xffffff, 6, 16, QLatin1Char('0'))
                          .arg(expected & 0xffffff, 6, 16, QLatin1Char('0'));
        }
    }
    return result;
}

uint32_t RootProbe::pixelOf(QRgb colour) const
{
    const auto reduce
        = [](int value, const Channel& channel) { return uint32_t(value >> (8 - channel.bits)) << channel.shift; };
    return reduce(qRed(colour), m_red) | reduce(qGreen(colour), m_green) | reduce(qBlue(colour), m_blue);
}

xcb_atom_t RootProbe::atom(const char* name) const
{
    auto* reply = xcb_intern_atom_reply(m_c, xcb_intern_atom(m_c, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return result;
}

xcb_pixmap_t RootProbe::pixmapProperty(const char* name) const
{
    auto* reply
        = xcb_get_property_reply(m_c, xcb_get_property(m_c, 0, root(), atom(name), XCB_ATOM_PIXMAP, 0, 1), nullptr);
    xcb_pixmap_t result = XCB_NONE;
    if (reply && reply->type == XCB_ATOM_PIXMAP && xcb_get_property_value_length(reply) == 4)
        result = *static_cast<xcb_pixmap_t*>(xcb_get_property_value(reply));
    std::free(reply);
    return result;
}

void RootProbe::setProperty(const char* name, xcb_atom_t type, uint32_t value) const
{
    xcb_change_property(m_c, XCB_PROP_MODE_REPLACE, root(), atom(name), type, 32, 1, &value);
    answers(m_c);
}

QPair<int, int> RootProbe::pixmapsAndClients() const
{
    QPair<int, int> result {0, 0};
    const xcb_atom_t pixmapType = atom("PIXMAP");
    auto* clients = xcb_res_query_clients_reply(m_c, xcb_res_query_clients(m_c), nullptr);
    for (auto it = xcb_res_query_clients_clients_iterator(clients); clients && it.rem > 0; xcb_res_client_next(&it)) {
        ++result.second;
        auto* counts = xcb_res_query_client_resources_reply(
            m_c, xcb_res_query_client_resources(m_c, it.data->resource_base), nullptr);
        for (auto type = xcb_res_query_client_resources_types_iterator(counts); counts && type.rem > 0;
             xcb_res_type_next(&type)) {
            if (type.data->resource_type == pixmapType)
                result.first += int(type.data->count);
        }
        std::free(counts);
    }
    std::free(clients);
    return result;
}

bool RootProbe::answers(xcb_connection_t* connection)
{
    auto* reply = xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr);
    std::free(reply);
    return reply != nullptr && !xcb_connection_has_error(connection);
}

QRgb gradientAt(int x, int y)
{
    return qRgb(x & 0xff, y & 0xff, ((x >> 8) << 4) | (y >> 8));
}

QImage gradientPicture(const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, gradientAt(x, y));
    }
    return image;
}

QImage quadrantPicture(const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    const int w = size.width() / 2;
    const int h = size.height() / 2;
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.fillRect(0, 0, w, h, Qt::red);
    painter.fillRect(w, 0, size.width() - w, h, Qt::green);
    painter.fillRect(0, h, w, size.height() - h, Qt::blue);
    return image;
}

QString saveBitmap(const QImage& image, const QString& folder, const QString& name)
{
    const QString path = folder + QLatin1Char('/') + name;
    return image.save(path, "BMP") ? path : QString();
}
