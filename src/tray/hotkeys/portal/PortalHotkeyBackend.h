#pragma once

#include "HotkeyBackend.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QHash>
#include <QObject>
#include <QTimer>

// Hot keys on Wayland: the desktop portal's GlobalShortcuts. One session is created; every
// binding is offered with the user's stored combination as its preferred trigger (the desktop
// may ask the user, and decides); the desktop's Activated signal reports the presses.
class PortalHotkeyBackend final : public QObject, public HotkeyBackend
{
    Q_OBJECT

public:
    static inline const QString Service = QStringLiteral("org.freedesktop.portal.Desktop");

    PortalHotkeyBackend();

    /// Whether the portal runs and offers GlobalShortcuts.
    static bool isAvailable(QString* reason = nullptr);

    /// The trigger text the portal takes for a stored pair ("CTRL+ALT+n"); empty when none.
    static QString trigger(int virtualKey, int modifiers);

    QString name() const override { return QStringLiteral("portal"); }
    bool bind(int id, const QString& name, int virtualKey, int modifiers, QString* why) override;
    void release(int id) override;
    void releaseAll() override;

private slots:
    void onSessionCreated(uint response, const QVariantMap& results);
    void onBound(uint response, const QVariantMap& results);
    void onActivated(const QDBusMessage& message);

private:
    struct Binding
    {
        QString name;
        QString trigger;
    };
    QString requestPath(const QString& token) const;
    void createSession();
    void bindAll();

    QHash<int, Binding> m_bindings;
    QString m_session; // the session's object path, once created
    bool m_creating = false;
    QTimer m_rebind; // one BindShortcuts for the bindings made in a row
    int m_requests = 0;
};
