#include "X11Monitors.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace {

struct Free
{
    void operator()(void* pointer) const { std::free(pointer); }
};
template <typename T> using Reply = std::unique_ptr<T, Free>;

xcb_atom_t atom(xcb_connection_t* connection, const char* name)
{
    Reply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 1, quint16(strlen(name)), name), nullptr));
    return reply ? reply->atom : XCB_NONE;
}

// The first desktop's work area, when the window manager publishes one.
std::optional<QRect> workArea(xcb_connection_t* connection, xcb_window_t root)
{
    const xcb_atom_t property = atom(connection, "_NET_WORKAREA");
    if (property == XCB_NONE)
        return std::nullopt;
    Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, root, property, XCB_ATOM_CARDINAL, 0, 4), nullptr));
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 16)
        return std::nullopt;
    const auto* values = static_cast<const quint32*>(xcb_get_property_value(reply.get()));
    return QRect(int(values[0]), int(values[1]), int(values[2]), int(values[3]));
}

} // namespace

std::optional<QList<ClsMonitor::Record>> x11Monitors()
{
    int screenNumber = 0;
    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(nullptr, &screenNumber), &xcb_disconnect);
    if (xcb_connection_has_error(connection.get()))
        return std::nullopt;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    if (!screens.rem)
        return std::nullopt;
    const xcb_screen_t* screen = screens.data;

    QList<ClsMonitor::Record> records;
    Reply<xcb_randr_get_monitors_reply_t> monitors(xcb_randr_get_monitors_reply(
        connection.get(), xcb_randr_get_monitors(connection.get(), screen->root, 1), nullptr));
    if (monitors) {
        xcb_randr_monitor_info_iterator_t it = xcb_randr_get_monitors_monitors_iterator(monitors.get());
        for (; it.rem; xcb_randr_monitor_info_next(&it)) {
            ClsMonitor::Record record;
            record.handle = it.data->name;
            record.monitor = QRect(it.data->x, it.data->y, it.data->width, it.data->height);
            record.workArea = record.monitor;
            record.flags = it.data->primary ? ClsMonitor::PrimaryFlag : 0;
            // The primary monitor comes first, as Qt lists it.
            if (it.data->primary)
                records.prepend(record);
            else
                records.append(record);
        }
    }
    if (records.isEmpty()) // no RandR: the whole screen is one monitor
        records.append({screen->root, QRect(0, 0, screen->width_in_pixels, screen->height_in_pixels),
            QRect(0, 0, screen->width_in_pixels, screen->height_in_pixels), ClsMonitor::PrimaryFlag});
    if (records.size() == 1) {
        if (const auto area = workArea(connection.get(), screen->root))
            records.first().workArea = area->intersected(records.first().monitor);
    }
    return records;
}
