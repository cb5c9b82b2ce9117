#pragma once

#include "HotkeyBackend.h"

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QList>

struct xcb_connection_t;

// Hot keys on X11: a passive grab of the key on the root window, made once for every
// combination of the lock keys (NumLock, CapsLock, ScrollLock) so that it works whatever their
// state; presses are caught from Qt's own connection to the server.
class X11HotkeyBackend final : public HotkeyBackend, public QAbstractNativeEventFilter
{
public:
    /// Works on Qt's connection to the X server; unusable (every bind refused) without one.
    X11HotkeyBackend();
    ~X11HotkeyBackend() override;

    /// Whether this process talks to an X server.
    static bool isAvailable();

    QString name() const override { return QStringLiteral("x11"); }
    bool bind(int id, const QString& name, int virtualKey, int modifiers, QString* why) override;
    void release(int id) override;
    void releaseAll() override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    struct Grab
    {
        quint8 keycode = 0;
        quint16 modifiers = 0; // X modifier mask, lock keys aside
    };
    QList<quint16> lockCombinations() const;

    xcb_connection_t* m_connection = nullptr;
    quint32 m_root = 0;
    QHash<int, Grab> m_grabs;
};
