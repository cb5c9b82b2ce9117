#include "RootProbe.h"

#include <xcb/res.h>

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
}

QImage RootProbe::grab(xcb_drawable_t drawable) const
{
    const QSize size = rootSize();
    auto* reply = xcb_get_image_reply(
        m_c, xcb_get_image(m_c, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, 0, 0, size.width(), size.height(), ~0u), nullptr);
    if (!reply)
        return {};
    // 16 or 32 bits a pixel, least significant byte first, rows unpadded at these widths.
    const bool deep = rootDepth() > 16;
    QImage image;
    if (xcb_get_image_data_length(reply) == size.width() * size.height() * (deep ? 4 : 2)) {
        const QImage raw(
            xcb_get_image_data(reply), size.width(), size.height(), deep ? QImage::Format_RGB32 : QImage::Format_RGB16);
        image = deep ? raw.copy() : raw.convertToFormat(QImage::Format_RGB32);
    }
    std::free(reply);
    return image;
}

QString RootProbe::mismatches(const QImage& image, const QList<PixelCheck>& checks, int lossy) const
{
    const int tolerance = std::max(lossy, rootDepth() > 16 ? 0 : 8);
    const auto near = [tolerance](int a, int b) { return std::abs(a - b) <= tolerance; };
    QString result;
    for (const auto& [point, expected] : checks) {
        const QRgb actual = image.pixel(point);
        if (!near(qRed(actual), qRed(expected)) || !near(qGreen(actual), qGreen(expected))
            || !near(qBlue(actual), qBlue(expected))) {
            result += QString::asprintf(
                "\nat %d,%d: %06x instead of %06x", point.x(), point.y(), actual & 0xffffff, expected & 0xffffff);
        }
    }
    return result;
}

QString RootProbe::rootMismatches(const QList<PixelCheck>& checks) const
{
    const QImage shown = grab(root());
    const xcb_pixmap_t pixmap = pixmapProperty("_XROOTPMAP_ID");
    if (pixmap == XCB_NONE || pixmapProperty("ESETROOT_PMAP_ID") != pixmap || grab(pixmap) != shown)
        return mismatches(shown, checks) + QStringLiteral("\nthe root properties do not name what the root shows");
    return mismatches(shown, checks);
}

uint32_t RootProbe::pixelOf(QRgb c) const
{
    return rootDepth() > 16 ? c & 0xffffff : (qRed(c) >> 3) << 11 | (qGreen(c) >> 2) << 5 | qBlue(c) >> 3;
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
    static const QRgb corners[] = {0xffff0000, 0xff00ff00, 0xff0000ff, 0xffffffff};
    return QImage(reinterpret_cast<const uchar*>(corners), 2, 2, QImage::Format_RGB32).scaled(size);
}

QString saveBitmap(const QImage& image, const QString& folder, const QString& name)
{
    const QString path = folder + QLatin1Char('/') + name;
    return image.save(path, "BMP") ? path : QString();
}
