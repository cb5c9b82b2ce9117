#include "PortalHotkeyBackend.h"

#include "HotkeyText.h"
#include "Trace.h"
#include "VirtualKeys.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>

namespace {

const QString Path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString Interface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString Request = QStringLiteral("org.freedesktop.portal.Request");

struct Shortcut
{
    QString id;
    QVariantMap properties;
};

} // namespace

Q_DECLARE_METATYPE(Shortcut)

QDBusArgument& operator<<(QDBusArgument& argument, const Shortcut& shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, Shortcut& shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

PortalHotkeyBackend::PortalHotkeyBackend()
{
    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<QList<Shortcut>>();
    m_rebind.setSingleShot(true);
    m_rebind.setInterval(0);
    connect(&m_rebind, &QTimer::timeout, this, &PortalHotkeyBackend::bindAll);
    QDBusConnection::sessionBus().connect(
        Service, Path, Interface, QStringLiteral("Activated"), this, SLOT(onActivated(QDBusMessage)));
}

bool PortalHotkeyBackend::isAvailable(QString* reason)
{
    QDBusMessage get = QDBusMessage::createMethodCall(
        Service, Path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << Interface << QStringLiteral("version");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(get, QDBus::Block, 2000);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return true;
    if (reason)
        *reason = QStringLiteral("the desktop portal offers no global shortcuts (%1)").arg(reply.errorMessage());
    return false;
}

QString PortalHotkeyBackend::trigger(int virtualKey, int modifiers)
{
    QString key;
    if ((virtualKey >= 'A' && virtualKey <= 'Z') || (virtualKey >= '0' && virtualKey <= '9'))
        key = QChar(virtualKey).toLower();
    else if (VirtualKeys::isFunctionKey(virtualKey))
        key = QStringLiteral("F%1").arg(virtualKey - 111);
    else
        return {}; // other keys: the desktop offers its own choice
    QString text;
    if (modifiers & HotkeyModifier::Ctrl)
        text += QStringLiteral("CTRL+");
    if (modifiers & HotkeyModifier::Alt)
        text += QStringLiteral("ALT+");
    if (modifiers & HotkeyModifier::Shift)
        text += QStringLiteral("SHIFT+");
    if (modifiers & HotkeyModifier::Win)
        text += QStringLiteral("LOGO+");
    return text + key;
}

QString PortalHotkeyBackend::requestPath(const QString& token) const
{
    QString sender = QDBusConnection::sessionBus().baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return Path + QStringLiteral("/request/") + sender + QLatin1Char('/') + token;
}

bool PortalHotkeyBackend::bind(int id, const QString& name, int virtualKey, int modifiers, QString*)
{
    m_bindings.insert(id, {name, trigger(virtualKey, modifiers)});
    if (m_session.isEmpty())
        createSession();
    else
        m_rebind.start();
    return true; // the desktop answers later, and may ask the user
}

void PortalHotkeyBackend::release(int id)
{
    if (m_bindings.remove(id) && !m_session.isEmpty())
        m_rebind.start();
}

void PortalHotkeyBackend::releaseAll()
{
    m_bindings.clear();
    if (m_session.isEmpty())
        return;
    QDBusConnection::sessionBus().call(QDBusMessage::createMethodCall(Service, m_session,
                                           QStringLiteral("org.freedesktop.portal.Session"), QStringLiteral("Close")),
        QDBus::NoBlock);
    m_session.clear();
}

void PortalHotkeyBackend::createSession()
{
    if (m_creating)
        return;
    m_creating = true;
    const QString token = QStringLiteral("tapisol_session%1").arg(++m_requests);
    QDBusConnection::sessionBus().connect(Service, requestPath(token), Request, QStringLiteral("Response"), this,
        SLOT(onSessionCreated(uint, QVariantMap)));
    QDBusMessage call = QDBusMessage::createMethodCall(Service, Path, Interface, QStringLiteral("CreateSession"));
    call << QVariantMap {
        {QStringLiteral("handle_token"), token}, {QStringLiteral("session_handle_token"), QStringLiteral("tapisol")}};
    QDBusConnection::sessionBus().call(call, QDBus::NoBlock);
}

void PortalHotkeyBackend::onSessionCreated(uint response, const QVariantMap& results)
{
    m_creating = false;
    if (response != 0) {
        TAPISOL_TRACE(QStringLiteral("SY HotKey portal: no session (response %1)").arg(response));
        return;
    }
    m_session = results.value(QStringLiteral("session_handle")).toString();
    bindAll();
}

void PortalHotkeyBackend::bindAll()
{
    if (m_session.isEmpty())
        return;
    QList<Shortcut> shortcuts;
    for (const Binding& binding : std::as_const(m_bindings)) {
        QVariantMap properties {{QStringLiteral("description"), binding.name}};
        if (!binding.trigger.isEmpty())
            properties.insert(QStringLiteral("preferred_trigger"), binding.trigger);
        shortcuts << Shortcut {binding.name, properties};
    }
    const QString token = QStringLiteral("tapisol_bind%1").arg(++m_requests);
    QDBusConnection::sessionBus().connect(
        Service, requestPath(token), Request, QStringLiteral("Response"), this, SLOT(onBound(uint, QVariantMap)));
    QDBusMessage call = QDBusMessage::createMethodCall(Service, Path, Interface, QStringLiteral("BindShortcuts"));
    call << QVariant::fromValue(QDBusObjectPath(m_session)) << QVariant::fromValue(shortcuts) << QString()
         << QVariantMap {{QStringLiteral("handle_token"), token}};
    QDBusConnection::sessionBus().call(call, QDBus::NoBlock);
}

void PortalHotkeyBackend::onBound(uint response, const QVariantMap&)
{
    TAPISOL_TRACE(QStringLiteral("SY HotKey portal: %1 shortcuts %2")
                      .arg(m_bindings.size())
                      .arg(response == 0 ? QStringLiteral("bound") : QStringLiteral("refused (%1)").arg(response)));
}

// Activated (session, shortcut id, timestamp, options).
void PortalHotkeyBackend::onActivated(const QDBusMessage& message)
{
    const QVariantList arguments = message.arguments();
    if (arguments.size() < 2 || arguments.at(0).value<QDBusObjectPath>().path() != m_session)
        return;
    const QString shortcut = arguments.at(1).toString();
    for (auto it = m_bindings.cbegin(); it != m_bindings.cend(); ++it) {
        if (it->name == shortcut) {
            pressed(it.key());
            return;
        }
    }
    pressed(0); // reported as an unknown key
}
