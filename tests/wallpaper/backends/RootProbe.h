#pragma once

#include <QImage>
#include <QList>
#include <QPair>

#include <xcb/xcb.h>

// A root-window position and the colour expected there.
using PixelCheck = QPair<QPoint, QRgb>;

// A test's own view of the X server of this process's DISPLAY, which has a 16-bit (5-6-5) or a
// 24-bit screen: what the root window and its pixmaps show, which pixmap the root properties
// name, and how many pixmaps the server holds.
class RootProbe
{
public:
    RootProbe();
    ~RootProbe() { xcb_disconnect(m_c); }
    RootProbe(const RootProbe&) = delete;
    RootProbe& operator=(const RootProbe&) = delete;

    bool isValid() const { return m_screen != nullptr; }
    xcb_connection_t* connection() const { return m_c; }
    xcb_window_t root() const { return m_screen->root; }
    uint8_t rootDepth() const { return m_screen->root_depth; }
    QSize rootSize() const { return {m_screen->width_in_pixels, m_screen->height_in_pixels}; }

    /// The pixels of the root window or of a pixmap of its depth; null when the server refuses.
    QImage grab(xcb_drawable_t drawable) const;
    /// The checks `image` fails, one line each; empty when it passes them all. On a 16-bit
    /// screen, colours need only be as close as that screen can show.
    /// `lossy`: how far each channel may stray, for pictures from a lossy format.
    QString mismatches(const QImage& image, const QList<PixelCheck>& checks, int lossy = 0) const;
    /// The checks the root window fails, and a line when _XROOTPMAP_ID and ESETROOT_PMAP_ID do
    /// not both name a pixmap that holds exactly what the root shows.
    QString rootMismatches(const QList<PixelCheck>& checks) const;
    /// The root visual's pixel value for a colour, to draw with the test's own requests.
    uint32_t pixelOf(QRgb colour) const;
    xcb_atom_t atom(const char* name) const;
    /// The pixmap a root window property names, or XCB_NONE.
    xcb_pixmap_t pixmapProperty(const char* name) const;
    void setProperty(const char* name, xcb_atom_t type, uint32_t value) const;
    /// The number of pixmaps and of clients the server holds (X-Resource extension).
    QPair<int, int> pixmapsAndClients() const;
    /// True while the server still answers on `connection` (false once it was killed).
    static bool answers(xcb_connection_t* connection);

private:
    xcb_connection_t* m_c = nullptr;
    const xcb_screen_t* m_screen = nullptr;
};

/// A picture whose every pixel tells where it is (red x mod 256, green y mod 256, blue the high
/// bits of both), so that a misplaced or misscaled copy shows up at once.
QImage gradientPicture(const QSize& size);
QRgb gradientAt(int x, int y);
/// Four solid quadrants: red, green (top), blue, white (bottom).
QImage quadrantPicture(const QSize& size);
/// Saves `image` as a BMP in `folder`, as the renderer does; returns the path.
QString saveBitmap(const QImage& image, const QString& folder, const QString& name);
