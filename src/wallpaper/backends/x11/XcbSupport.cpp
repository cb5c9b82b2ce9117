#include "XcbSupport.h"

#include <cstring>

XcbConnection::XcbConnection(const QByteArray& displayName)
{
    if (displayName.isEmpty()) {
        m_error = QStringLiteral("DISPLAY is not set, so there is no X server to show the wallpaper on");
        return;
    }
    int screenNumber = 0;
    m_connection = xcb_connect(displayName.constData(), &screenNumber);
    if (xcb_connection_has_error(m_connection)) {
        m_error = QStringLiteral("Cannot connect to the X display \"%1\"").arg(QString::fromLocal8Bit(displayName));
        return;
    }
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int i = 0; it.rem > 0; ++i, xcb_screen_next(&it)) {
        if (i == screenNumber) {
            m_screen = it.data;
            return;
        }
    }
    m_error = QStringLiteral("The X display \"%1\" has no screen %2")
                  .arg(QString::fromLocal8Bit(displayName))
                  .arg(screenNumber);
}

XcbConnection::~XcbConnection()
{
    if (m_connection)
        xcb_disconnect(m_connection);
}

xcb_atom_t XcbConnection::atom(const char* name) const
{
    const auto reply = xcbReply(
        m_connection, xcb_intern_atom(m_connection, 0, uint16_t(std::strlen(name)), name), xcb_intern_atom_reply);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

bool XcbConnection::owns(uint32_t resource) const
{
    const xcb_setup_t* info = setup();
    return (resource & ~info->resource_id_mask) == info->resource_id_base;
}

bool XcbRequestLog::check(QString* error)
{
    bool ok = true;
    for (const Pending& pending : m_pending) {
        xcb_generic_error_t* failure = xcb_request_check(m_connection, pending.cookie);
        if (failure && ok && error) {
            *error = QStringLiteral("The X server refused to %1 (X error %2, resource 0x%3)")
                         .arg(QLatin1String(pending.what))
                         .arg(failure->error_code)
                         .arg(failure->resource_id, 0, 16);
        }
        ok = ok && !failure;
        std::free(failure);
    }
    m_pending.clear();
    if (ok && xcb_connection_has_error(m_connection)) {
        if (error)
            *error = QStringLiteral("The connection to the X server was lost");
        return false;
    }
    return ok;
}
