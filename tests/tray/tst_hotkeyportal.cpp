// Hot keys through the desktop portal's GlobalShortcuts, against a service on the test's private
// bus that speaks its interface: a session created, every name bound with the stored pair as
// its preferred trigger, and the desktop's Activated signal reported as a press of that name.
#include "ClsRegHotKey.h"
#include "portal/PortalHotkeyBackend.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QtConcurrent>
#include <QtTest>

namespace {

const QString Path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString Interface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

QDBusConnection serviceBus()
{
    return QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("portal"));
}

// The portal's side: answers CreateSession and BindShortcuts through their Request objects.
class GlobalShortcuts : public QDBusVirtualObject
{
public:
    QString session;
    QMap<QString, QString> triggers; // shortcut id → preferred trigger

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        QString sender = message.service().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        const auto respond = [&](const QString& token, const QVariantMap& results) {
            const QString handle = Path + QStringLiteral("/request/%1/%2").arg(sender, token);
            connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(handle))));
            QDBusMessage response = QDBusMessage::createSignal(
                handle, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
            response << 0u << results;
            connection.send(response);
        };
        if (message.member() == QLatin1String("Get")) { // the version property
            connection.send(message.createReply(QVariant::fromValue(QDBusVariant(1u))));
        } else if (message.member() == QLatin1String("CreateSession")) {
            const QVariantMap options = qdbus_cast<QVariantMap>(message.arguments().at(0));
            session = Path
                + QStringLiteral("/session/%1/%2")
                      .arg(sender, options.value(QStringLiteral("session_handle_token")).toString());
            respond(options.value(QStringLiteral("handle_token")).toString(),
                {{QStringLiteral("session_handle"), session}});
        } else if (message.member() == QLatin1String("BindShortcuts")) {
            triggers.clear();
            const QDBusArgument list = message.arguments().at(1).value<QDBusArgument>();
            list.beginArray();
            while (!list.atEnd()) {
                QString id;
                QVariantMap properties;
                list.beginStructure();
                list >> id >> properties;
                list.endStructure();
                triggers.insert(id, properties.value(QStringLiteral("preferred_trigger")).toString());
            }
            list.endArray();
            respond(qdbus_cast<QVariantMap>(message.arguments().at(3)).value(QStringLiteral("handle_token")).toString(),
                {});
        } else {
            return false;
        }
        return true;
    }
};

} // namespace

class TestHotkeyPortal : public QObject
{
    Q_OBJECT

private slots:
    void bindAndActivate()
    {
        QString reason;
        QVERIFY(!PortalHotkeyBackend::isAvailable(&reason)); // nothing on the bus yet
        GlobalShortcuts portal;
        QDBusConnection bus = serviceBus();
        QVERIFY(bus.registerVirtualObject(Path, &portal));
        QVERIFY(bus.registerService(PortalHotkeyBackend::Service));
        QFuture<bool> available = QtConcurrent::run([] { return PortalHotkeyBackend::isAvailable(); });
        QTRY_VERIFY(available.isFinished());
        QVERIFY(available.result());

        ClsRegHotKey keys(std::make_unique<PortalHotkeyBackend>());
        QSignalSpy pressed(&keys, &ClsRegHotKey::hotKeyPressed);
        QVERIFY(keys.registerKey(QStringLiteral("TPNextWallPaper"), 78, 3));
        QVERIFY(keys.registerKey(QStringLiteral("TPQuiet"), 120, 0));
        QVERIFY(keys.registerKey(QStringLiteral("TPScreenSaver"), 37, 2)); // no trigger text: the desktop chooses
        QTRY_COMPARE(portal.triggers.size(), 3);
        QCOMPARE(portal.triggers.value(QStringLiteral("TPNextWallPaper")), QStringLiteral("CTRL+ALT+n"));
        QCOMPARE(portal.triggers.value(QStringLiteral("TPQuiet")), QStringLiteral("F9"));
        QCOMPARE(portal.triggers.value(QStringLiteral("TPScreenSaver")), QString());

        QDBusMessage activated = QDBusMessage::createSignal(Path, Interface, QStringLiteral("Activated"));
        activated << QVariant::fromValue(QDBusObjectPath(portal.session)) << QStringLiteral("TPQuiet") << qulonglong(1)
                  << QVariantMap();
        bus.send(activated);
        QTRY_COMPARE(pressed.size(), 1);
        QCOMPARE(pressed.first().first().toString(), QStringLiteral("TPQuiet"));

        // A binding given up is taken out of the desktop's list.
        QVERIFY(keys.registerKey(QStringLiteral("TPQuiet"), 0, 0));
        QTRY_COMPARE(portal.triggers.size(), 2);
        bus.unregisterService(PortalHotkeyBackend::Service);
    }
};

QTEST_GUILESS_MAIN(TestHotkeyPortal)
#include "tst_hotkeyportal.moc"
