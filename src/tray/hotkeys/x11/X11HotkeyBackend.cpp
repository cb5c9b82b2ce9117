#include "X11HotkeyBackend.h"

#include "HotkeyText.h"
#include "VirtualKeys.h"

#include <QGuiApplication>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdlib>
#include <memory>

namespace {

// The modifier mask that holds a key symbol (NumLock and ScrollLock are not fixed bits).
quint16 maskOf(xcb_connection_t* connection, xcb_keysym_t keysym)
{
    xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(connection);
    xcb_keycode_t* codes = symbols ? xcb_key_symbols_get_keycode(symbols, keysym) : nullptr;
    quint16 mask = 0;
    xcb_get_modifier_mapping_reply_t* mapping
        = xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr);
    if (codes && mapping) {
        const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(mapping);
        const int perModifier = mapping->keycodes_per_modifier;
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int i = 0; i < perModifier; ++i) {
                for (const xcb_keycode_t* code = codes; *code != XCB_NO_SYMBOL; ++code) {
                    if (keycodes[modifier * perModifier + i] == *code)
                        mask |= quint16(1 << modifier);
                }
            }
        }
    }
    std::free(mapping);
    std::free(codes);
    if (symbols)
        xcb_key_symbols_free(symbols);
    return mask;
}

quint16 xModifiers(int modifiers)
{
    quint16 mask = 0;
    if (modifiers & HotkeyModifier::Alt)
        mask |= XCB_MOD_MASK_1;
    if (modifiers & HotkeyModifier::Ctrl)
        mask |= XCB_MOD_MASK_CONTROL;
    if (modifiers & HotkeyModifier::Shift)
        mask |= XCB_MOD_MASK_SHIFT;
    if (modifiers & HotkeyModifier::Win)
        mask |= XCB_MOD_MASK_4;
    return mask;
}

} // namespace

X11HotkeyBackend::X11HotkeyBackend()
{
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    m_connection = x11 ? x11->connection() : nullptr;
    if (m_connection) {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        qGuiApp->installNativeEventFilter(this);
    }
}

X11HotkeyBackend::~X11HotkeyBackend()
{
    releaseAll();
    if (qGuiApp && m_connection)
        qGuiApp->removeNativeEventFilter(this);
}

bool X11HotkeyBackend::isAvailable()
{
    return qGuiApp && qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
}

QList<quint16> X11HotkeyBackend::lockCombinations() const
{
    const quint16 locks[] = {
        XCB_MOD_MASK_LOCK, maskOf(m_connection, 0xff7f /* Num_Lock */), maskOf(m_connection, 0xff14 /* Scroll_Lock */)};
    QList<quint16> combinations {0};
    for (quint16 lock : locks) {
        if (lock == 0)
            continue;
        const qsizetype count = combinations.size();
        for (qsizetype i = 0; i < count; ++i)
            combinations << quint16(combinations[i] | lock);
    }
    return combinations;
}

bool X11HotkeyBackend::bind(int id, const QString&, int virtualKey, int modifiers, QString* why)
{
    if (!m_connection) {
        *why = QStringLiteral("no X server");
        return false;
    }
    const xcb_keysym_t keysym = VirtualKeys::keysym(virtualKey);
    xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(m_connection);
    xcb_keycode_t* codes = keysym && symbols ? xcb_key_symbols_get_keycode(symbols, keysym) : nullptr;
    const xcb_keycode_t keycode = codes ? codes[0] : 0;
    std::free(codes);
    if (symbols)
        xcb_key_symbols_free(symbols);
    if (keycode == 0) {
        *why = QStringLiteral("no key on this keyboard for code %1").arg(virtualKey);
        return false;
    }
    const Grab grab {keycode, xModifiers(modifiers)};
    QList<xcb_void_cookie_t> cookies;
    for (quint16 locks : lockCombinations()) {
        cookies << xcb_grab_key_checked(m_connection, 1, m_root, quint16(grab.modifiers | locks), keycode,
            XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    }
    bool refused = false;
    for (const xcb_void_cookie_t& cookie : cookies) {
        if (xcb_generic_error_t* error = xcb_request_check(m_connection, cookie)) {
            refused = true;
            std::free(error);
        }
    }
    m_grabs.insert(id, grab);
    if (refused) {
        // Another client holds it: none of our variants stays, or the key would half work.
        release(id);
        *why = QStringLiteral("the key is taken by another program");
        return false;
    }
    return true;
}

void X11HotkeyBackend::release(int id)
{
    const auto it = m_grabs.constFind(id);
    if (it == m_grabs.cend())
        return;
    if (m_connection) {
        for (quint16 locks : lockCombinations())
            xcb_ungrab_key(m_connection, it->keycode, m_root, quint16(it->modifiers | locks));
        xcb_flush(m_connection);
    }
    m_grabs.erase(it);
}

void X11HotkeyBackend::releaseAll()
{
    const QList<int> ids = m_grabs.keys();
    for (int id : ids)
        release(id);
}

bool X11HotkeyBackend::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    auto* event = static_cast<xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_KEY_PRESS)
        return false;
    auto* press = reinterpret_cast<xcb_key_press_event_t*>(event);
    if (press->event != m_root)
        return false;
    const quint16 relevant = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;
    for (auto it = m_grabs.cbegin(); it != m_grabs.cend(); ++it) {
        if (it->keycode == press->detail && it->modifiers == (press->state & relevant)) {
            pressed(it.key());
            return true;
        }
    }
    return false;
}
