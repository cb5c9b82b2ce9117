#pragma once

#include <QByteArray>
#include <QString>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <vector>

// xcb hands replies over as malloc'ed blocks.
struct XcbFree
{
    void operator()(void* block) const { std::free(block); }
};
template <typename T> using XcbReply = std::unique_ptr<T, XcbFree>;

/// Waits for the reply to `cookie`; null when the request failed (the error itself is dropped).
template <typename Reply, typename Cookie>
XcbReply<Reply> xcbReply(xcb_connection_t* connection, Cookie cookie,
    Reply* (*replyFunction)(xcb_connection_t*, Cookie, xcb_generic_error_t**))
{
    xcb_generic_error_t* error = nullptr;
    XcbReply<Reply> reply(replyFunction(connection, cookie, &error));
    std::free(error);
    return reply;
}

// One connection to an X server and its default screen, closed when the object goes.
class XcbConnection
{
public:
    /// Connects to `displayName` (":0"); an empty name fails, as DISPLAY is not set then.
    explicit XcbConnection(const QByteArray& displayName);
    ~XcbConnection();
    XcbConnection(const XcbConnection&) = delete;
    XcbConnection& operator=(const XcbConnection&) = delete;

    bool isValid() const { return m_screen != nullptr; }
    /// Why the connection could not be made, in words for the user.
    QString errorString() const { return m_error; }
    xcb_connection_t* get() const { return m_connection; }
    const xcb_screen_t* screen() const { return m_screen; }
    const xcb_setup_t* setup() const { return xcb_get_setup(m_connection); }

    /// The atom of that name, created when missing; XCB_ATOM_NONE if the server refused.
    xcb_atom_t atom(const char* name) const;
    /// True when `resource` was allocated by this connection.
    bool owns(uint32_t resource) const;

private:
    xcb_connection_t* m_connection = nullptr;
    const xcb_screen_t* m_screen = nullptr;
    QString m_error;
};

// Requests sent with their _checked variant during one step, checked together so the step costs a
// single round trip whatever the number of requests.
class XcbRequestLog
{
public:
    explicit XcbRequestLog(xcb_connection_t* connection)
        : m_connection(connection)
    { }
    void add(xcb_void_cookie_t cookie, const char* what) { m_pending.push_back({cookie, what}); }
    /// Waits for every pending request; false with the first failure described in `error`.
    bool check(QString* error);

private:
    struct Pending
    {
        xcb_void_cookie_t cookie;
        const char* what;
    };
    xcb_connection_t* m_connection;
    std::vector<Pending> m_pending;
};
