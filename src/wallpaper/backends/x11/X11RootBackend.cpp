#include "X11RootBackend.h"

#include "XcbImage.h"
#include "XcbSupport.h"

#include <QBrush>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>

#include <algorithm>
#include <optional>

namespace {

// The X protocol's drawables cannot be larger than this on either side.
constexpr int MaxDrawableSide = 32767;

bool fail(QString* error, const QString& message)
{
    if (error)
        *error = message;
    return false;
}

bool loadPicture(const QString& file, QImage* picture, QString* error)
{
    if (!QFileInfo(file).isFile())
        return fail(error, QStringLiteral("The wallpaper file \"%1\" does not exist").arg(file));
    QImageReader reader(file);
    if (!reader.read(picture))
        return fail(
            error, QStringLiteral("The wallpaper file \"%1\" cannot be read: %2").arg(file, reader.errorString()));
    if (picture->width() <= 0 || picture->height() <= 0)
        return fail(error, QStringLiteral("The wallpaper file \"%1\" holds a picture of zero size").arg(file));
    return true;
}

// The target area in root-window pixels: the virtual screen's corner is the root's. Both are in
// device pixels already; monitors that leave part of the root uncovered (a RandR monitor smaller
// than the screen) leave that part as it is rather than stretching the areas over it.
QRect toRootPixels(const QRect& target, QRect virtualScreen)
{
    // In floating point and bounded, so that an absurd rectangle is refused rather than overflowing.
    const auto toPixels = [](double value) { return qRound(std::clamp(value, -1e9, 1e9)); };
    const int left = toPixels(double(target.x()) - virtualScreen.x());
    const int top = toPixels(double(target.y()) - virtualScreen.y());
    const int right = toPixels(double(target.x()) + target.width() - virtualScreen.x());
    const int bottom = toPixels(double(target.y()) + target.height() - virtualScreen.y());
    return QRect(left, top, right - left, bottom - top);
}

// The visible part of the area's new content, painted on our side so that only that part travels
// to the server and memory stays bounded by the screen whatever the area's size.
QImage composeArea(const QImage& picture, WallpaperStyle style, const QRect& area, const QRect& visible)
{
    QImage canvas(visible.size(), QImage::Format_RGB32);
    if (canvas.isNull())
        return canvas;
    canvas.fill(Qt::black);
    QPainter painter(&canvas);
    painter.translate(area.topLeft() - visible.topLeft()); // from here on (0, 0) is the area's corner
    const QRect whole(QPoint(0, 0), area.size());
    switch (style) {
    case WallpaperStyle::Centered:
        // A larger picture is cut evenly on both sides; a smaller one leaves black bands.
        painter.drawImage(
            QPoint((area.width() - picture.width()) / 2, (area.height() - picture.height()) / 2), picture);
        break;
    case WallpaperStyle::Tiled:
        painter.fillRect(whole, QBrush(picture));
        break;
    case WallpaperStyle::Stretched:
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(whole, picture);
        break;
    }
    return canvas;
}

// Where a picture shown at its own size lands: the part of it that is visible and where that part
// goes in root-window pixels.
struct Placement
{
    QRect source; // in the picture
    QPoint at;    // in the root window
};

// A centred picture, or any picture rendered at the area's size, is shown pixel for pixel: it can
// go to the server as it is, the bands around it filled there, without painting a canvas first.
std::optional<Placement> placeAsItIs(
    const QImage& picture, WallpaperStyle style, const QRect& area, const QRect& visible)
{
    if (style != WallpaperStyle::Centered && picture.size() != area.size())
        return std::nullopt;
    if (picture.format() != QImage::Format_RGB32)
        return std::nullopt;
    const QPoint corner
        = area.topLeft() + QPoint((area.width() - picture.width()) / 2, (area.height() - picture.height()) / 2);
    const QRect shown = QRect(corner, picture.size()).intersected(visible);
    if (shown.isEmpty())
        return Placement {}; // nothing of it is on screen: only the bands
    return Placement {shown.translated(-corner), shown.topLeft()};
}

// Builds one root pixmap on a connection of its own and hands it to the server for good. The
// connection holds nothing else, so that when the next change kills its client (the convention
// every root-pixmap setter follows) exactly this pixmap is freed.
class RootPixmap
{
public:
    RootPixmap(const XcbConnection& connection, const XcbPixelFormat& format)
        : m_connection(connection)
        , m_c(connection.get())
        , m_root(connection.screen()->root)
        , m_size(connection.screen()->width_in_pixels, connection.screen()->height_in_pixels)
        , m_format(format)
        , m_log(connection.get())
        , m_rootPmapId(connection.atom("_XROOTPMAP_ID"))
        , m_esetrootPmapId(connection.atom("ESETROOT_PMAP_ID"))
    { }

    QSize size() const { return m_size; }

    /// Makes the pixmap. Unless `repainted` (the part the change paints anew) covers the whole
    /// root, it starts as a copy of the current wallpaper, black where there is none.
    bool create(const QRect& repainted, QString* error)
    {
        if (m_rootPmapId == XCB_ATOM_NONE || m_esetrootPmapId == XCB_ATOM_NONE)
            return fail(error, QStringLiteral("The X server refused to name the root pixmap properties"));
        m_pixmap = xcb_generate_id(m_c);
        m_log.add(xcb_create_pixmap_checked(
                      m_c, m_format.depth(), m_pixmap, m_root, uint16_t(m_size.width()), uint16_t(m_size.height())),
            "create the wallpaper pixmap");
        m_gc = xcb_generate_id(m_c);
        const uint32_t values[] = {m_connection.screen()->black_pixel, 0};
        m_log.add(xcb_create_gc_checked(m_c, m_gc, m_pixmap, XCB_GC_FOREGROUND | XCB_GC_GRAPHICS_EXPOSURES, values),
            "create a graphics context");
        if (repainted.contains(QRect(QPoint(0, 0), m_size)))
            return m_log.check(error);
        fillBlack(QRect(QPoint(0, 0), m_size));
        if (!m_log.check(error))
            return false;
        copyCurrentWallpaper();
        return true;
    }

    void fillBlack(const QRect& rect)
    {
        const xcb_rectangle_t all
            = {int16_t(rect.x()), int16_t(rect.y()), uint16_t(rect.width()), uint16_t(rect.height())};
        m_log.add(xcb_poly_fill_rectangle_checked(m_c, m_pixmap, m_gc, 1, &all), "paint the wallpaper's background");
    }

    bool upload(const QImage& pixels, const QRect& source, const QPoint& at, QString* error)
    {
        return (source.isEmpty() || xcbPutImage(m_c, m_pixmap, m_gc, m_format, pixels, source, at, m_log, error))
            && m_log.check(error);
    }

    // Under a server grab, so that two programs changing the wallpaper at once cannot both keep
    // a pixmap alive or kill each other's new one.
    bool publish(QString* error)
    {
        xcb_grab_server(m_c);
        const xcb_pixmap_t oldRoot = pixmapProperty(m_rootPmapId);
        const xcb_pixmap_t oldEsetroot = pixmapProperty(m_esetrootPmapId);
        for (const xcb_atom_t property : {m_rootPmapId, m_esetrootPmapId}) {
            m_log.add(xcb_change_property_checked(
                          m_c, XCB_PROP_MODE_REPLACE, m_root, property, XCB_ATOM_PIXMAP, 32, 1, &m_pixmap),
                "announce the wallpaper pixmap");
        }
        m_log.add(xcb_change_window_attributes_checked(m_c, m_root, XCB_CW_BACK_PIXMAP, &m_pixmap),
            "make the pixmap the root window's background");
        m_log.add(xcb_clear_area_checked(m_c, 0, m_root, 0, 0, 0, 0), "repaint the root window");
        m_log.add(xcb_free_gc_checked(m_c, m_gc), "free the graphics context");
        bool ok = m_log.check(error);
        if (ok) {
            // The previous setter's pixmap goes only when both properties still name it: then it
            // was left behind the same way as ours, by a client kept alive for that pixmap alone.
            if (oldEsetroot != XCB_NONE && oldEsetroot == oldRoot)
                releasePixmapOwner(oldEsetroot);
            m_log.add(xcb_set_close_down_mode_checked(m_c, XCB_CLOSE_DOWN_RETAIN_PERMANENT),
                "keep the wallpaper pixmap after the program ends");
        }
        m_log.add(xcb_ungrab_server_checked(m_c), "release the server");
        return m_log.check(error) && ok;
    }

private:
    xcb_pixmap_t pixmapProperty(xcb_atom_t property) const
    {
        const auto reply
            = xcbReply(m_c, xcb_get_property(m_c, 0, m_root, property, XCB_ATOM_PIXMAP, 0, 1), xcb_get_property_reply);
        if (!reply || reply->type != XCB_ATOM_PIXMAP || reply->format != 32
            || xcb_get_property_value_length(reply.get()) != 4) {
            return XCB_NONE;
        }
        return *static_cast<const xcb_pixmap_t*>(xcb_get_property_value(reply.get()));
    }

    // The depth and size of `id` when it is a live pixmap. A window answers GetWindowAttributes; a
    // freed pixmap answers nothing, and its number may already belong to another client.
    std::optional<xcb_get_geometry_reply_t> livePixmap(xcb_pixmap_t id) const
    {
        const auto window = xcb_get_window_attributes(m_c, id);
        const auto geometryCookie = xcb_get_geometry(m_c, id);
        const bool isWindow = xcbReply(m_c, window, xcb_get_window_attributes_reply) != nullptr;
        const auto geometry = xcbReply(m_c, geometryCookie, xcb_get_geometry_reply);
        if (isWindow || !geometry)
            return std::nullopt;
        return *geometry;
    }

    // Starting from what the root showed keeps the other monitors' pictures. Without a usable
    // pixmap (none yet, freed, another depth) those parts stay black: reading the root window
    // itself would also pick up whatever windows cover it.
    void copyCurrentWallpaper()
    {
        const xcb_pixmap_t current = pixmapProperty(m_rootPmapId);
        if (current == XCB_NONE)
            return;
        const auto geometry = livePixmap(current);
        if (!geometry || geometry->depth != m_format.depth())
            return;
        // After a screen resize the old pixmap may be smaller or larger: copy what both share.
        const int width = std::min<int>(geometry->width, m_size.width());
        const int height = std::min<int>(geometry->height, m_size.height());
        // Another program may free it in the meantime; then nothing is copied and that is all.
        std::free(xcb_request_check(
            m_c, xcb_copy_area_checked(m_c, current, m_pixmap, m_gc, 0, 0, 0, 0, uint16_t(width), uint16_t(height))));
    }

    void releasePixmapOwner(xcb_pixmap_t old)
    {
        if (old == m_pixmap || m_connection.owns(old) || !livePixmap(old))
            return;
        // A client that already went leaves an error here, which is what we wanted anyway.
        std::free(xcb_request_check(m_c, xcb_kill_client_checked(m_c, old)));
    }

    const XcbConnection& m_connection;
    xcb_connection_t* m_c;
    xcb_window_t m_root;
    QSize m_size;
    const XcbPixelFormat& m_format;
    XcbRequestLog m_log;
    xcb_atom_t m_rootPmapId;
    xcb_atom_t m_esetrootPmapId;
    xcb_pixmap_t m_pixmap = XCB_NONE;
    xcb_gcontext_t m_gc = XCB_NONE;
};

// A wallpaper painted into its own root pixmap, not yet published. The connection that made the
// pixmap lives as long as this object: dropping it unshown closes the connection, and the server
// frees the pixmap with it.
class PreparedRootPixmap final : public PreparedWallpaper
{
public:
    explicit PreparedRootPixmap(const QByteArray& display)
        : m_connection(display)
    { }

    bool paint(const QImage& picture, WallpaperStyle style, const QRect& targetArea, const QRect& virtualScreen,
        QString* error)
    {
        if (picture.isNull() || picture.width() <= 0 || picture.height() <= 0)
            return fail(error, QStringLiteral("There is no wallpaper picture to show"));
        if (!m_connection.isValid())
            return fail(error, m_connection.errorString());
        if (!m_format.init(m_connection.setup(), m_connection.screen(), error))
            return false;
        RootPixmap& root = m_root.emplace(m_connection, m_format);
        const QRect area = toRootPixels(targetArea, virtualScreen);
        const QRect visible = area.intersected(QRect(QPoint(0, 0), root.size()));
        if (visible.isEmpty()) {
            return fail(error,
                QStringLiteral("The monitor area %1×%2 at %3,%4 is not on the screen")
                    .arg(targetArea.width())
                    .arg(targetArea.height())
                    .arg(targetArea.x())
                    .arg(targetArea.y()));
        }
        if (area.width() > MaxDrawableSide || area.height() > MaxDrawableSide) {
            return fail(
                error, QStringLiteral("The monitor area %1×%2 is too large").arg(area.width()).arg(area.height()));
        }
        if (const auto placement = placeAsItIs(picture, style, area, visible)) {
            if (!root.create(visible, error))
                return false;
            if (QRect(placement->at, placement->source.size()) != visible)
                root.fillBlack(visible);
            m_painted = root.upload(picture, placement->source, placement->at, error);
            return m_painted;
        }
        const QImage canvas = composeArea(picture, style, area, visible);
        if (canvas.isNull()) {
            return fail(error,
                QStringLiteral("Not enough memory for a %1×%2 wallpaper").arg(visible.width()).arg(visible.height()));
        }
        m_painted = root.create(visible, error) && root.upload(canvas, canvas.rect(), visible.topLeft(), error);
        return m_painted;
    }

    // RetainPermanent is set last, on success only: until then closing the connection frees the pixmap.
    bool show(QString* error) override
    {
        if (!m_painted)
            return fail(error, QStringLiteral("The wallpaper was not made ready"));
        m_painted = false; // published once
        return m_root->publish(error);
    }

private:
    XcbConnection m_connection;
    XcbPixelFormat m_format;
    std::optional<RootPixmap> m_root;
    bool m_painted = false;
};

std::unique_ptr<PreparedRootPixmap> paintRootPixmap(const QByteArray& display, const QImage& picture,
    WallpaperStyle style, const QRect& targetArea, const QRect& virtualScreen, QString* error)
{
    auto prepared = std::make_unique<PreparedRootPixmap>(display);
    if (!prepared->paint(picture, style, targetArea, virtualScreen, error))
        return nullptr;
    return prepared;
}

} // namespace

X11RootBackend::X11RootBackend(QByteArray displayName)
    : m_display(std::move(displayName))
{ }

QString X11RootBackend::name() const
{
    return QStringLiteral("x11");
}

bool X11RootBackend::isAvailable(QString* reason) const
{
    const XcbConnection connection(m_display);
    return connection.isValid() || fail(reason, connection.errorString());
}

bool X11RootBackend::apply(const WallpaperTarget& target, QString* error)
{
    QImage picture;
    if (!loadPicture(target.file, &picture, error))
        return false;
    const auto prepared
        = paintRootPixmap(m_display, picture, target.style, target.monitor, target.virtualScreen, error);
    return prepared && prepared->show(error);
}

std::unique_ptr<PreparedWallpaper> X11RootBackend::prepare(
    const QImage& picture, const WallpaperTarget& target, QString* error)
{
    return paintRootPixmap(m_display, picture, target.style, target.monitor, target.virtualScreen, error);
}
