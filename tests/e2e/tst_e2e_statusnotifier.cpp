#include "E2eSession.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QtTest>

namespace {

const QString WatcherName = QStringLiteral("org.kde.StatusNotifierWatcher");

// A panel that shows StatusNotifierItems only, as Plasma's watcher and host do it, on the
// test's own bus (xfce4-panel would dock the icon through XEmbed first). It keeps what items
// register, forgets those whose name leaves the bus, and can be restarted.
class StatusNotifierWatcher : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems MEMBER m_items)
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)

public:
    QStringList registrations; // every call to RegisterStatusNotifierItem, as service + path

    StatusNotifierWatcher()
    {
        connect(&m_itemOwners, &QDBusServiceWatcher::serviceUnregistered, this, [this](const QString& service) {
            for (const QString& item : m_items.filter(service + QLatin1Char('/'))) {
                m_items.removeAll(item);
                emit StatusNotifierItemUnregistered(item);
            }
        });
        m_itemOwners.setConnection(m_bus);
        m_itemOwners.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    }

    // The panel starts: its watcher, then its host.
    bool start()
    {
        const QString host = QStringLiteral("org.kde.StatusNotifierHost-%1").arg(QCoreApplication::applicationPid());
        const bool up = m_bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), this,
                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals
                                | QDBusConnection::ExportAllProperties)
            && m_bus.registerService(WatcherName) && m_bus.registerService(host);
        RegisterStatusNotifierHost(host);
        return up;
    }

    void stop()
    {
        m_bus.unregisterService(
            QStringLiteral("org.kde.StatusNotifierHost-%1").arg(QCoreApplication::applicationPid()));
        m_bus.unregisterService(WatcherName);
        m_bus.unregisterObject(QStringLiteral("/StatusNotifierWatcher"));
        m_items.clear();
        m_hosts.clear();
    }

    QStringList items() const { return m_items; }
    bool hostRegistered() const { return !m_hosts.isEmpty(); }
    int protocolVersion() const { return 0; }

public slots:
    // The item names its bus name (the object is then /StatusNotifierItem) or its object path.
    void RegisterStatusNotifierItem(const QString& serviceOrPath)
    {
        const bool isPath = serviceOrPath.startsWith(QLatin1Char('/'));
        const QString service = isPath ? message().service() : serviceOrPath;
        const QString item = service + (isPath ? serviceOrPath : QStringLiteral("/StatusNotifierItem"));
        registrations << item;
        if (m_items.contains(item))
            return;
        m_items << item;
        m_itemOwners.addWatchedService(service);
        emit StatusNotifierItemRegistered(item);
    }

    void RegisterStatusNotifierHost(const QString& service)
    {
        m_hosts << service;
        emit StatusNotifierHostRegistered();
    }

signals:
    void StatusNotifierItemRegistered(const QString& item);
    void StatusNotifierItemUnregistered(const QString& item);
    void StatusNotifierHostRegistered();
    void StatusNotifierHostUnregistered();

private:
    QDBusConnection m_bus = QDBusConnection::sessionBus();
    QStringList m_items;
    QStringList m_hosts;
    QDBusServiceWatcher m_itemOwners;
};

// Keeps the D-Bus signals it is connected to.
class SignalRecorder : public QObject
{
    Q_OBJECT

public:
    QList<QDBusMessage> received;

    bool listen(const QString& service, const QString& name)
    {
        return QDBusConnection::sessionBus().connect(service, QStringLiteral("/MenuBar"),
            QStringLiteral("com.canonical.dbusmenu"), name, this, SLOT(record(QDBusMessage)));
    }

public slots:
    void record(const QDBusMessage& message) { received << message; }
};

// The labels an ItemsPropertiesUpdated signal gives, by item.
QHash<int, QString> updatedLabels(const QList<QDBusMessage>& signalsReceived)
{
    QHash<int, QString> labels;
    for (const QDBusMessage& message : signalsReceived) {
        const QDBusArgument updated = message.arguments().value(0).value<QDBusArgument>();
        updated.beginArray();
        while (!updated.atEnd()) {
            int id = 0;
            QVariantMap properties;
            updated.beginStructure();
            updated >> id >> properties;
            updated.endStructure();
            if (properties.contains(QStringLiteral("label")))
                labels.insert(id, properties.value(QStringLiteral("label")).toString());
        }
        updated.endArray();
    }
    return labels;
}

// What a host reads of the item: all its properties at once.
QVariantMap itemProperties(const QString& service)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, QStringLiteral("/StatusNotifierItem"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("GetAll"));
    call << QStringLiteral("org.kde.StatusNotifierItem");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call);
    return reply.arguments().isEmpty() ? QVariantMap() : qdbus_cast<QVariantMap>(reply.arguments().first());
}

// a(iiay) as (width, height, bytes)
QList<std::tuple<int, int, QByteArray>> readPixmaps(const QDBusArgument& argument)
{
    QList<std::tuple<int, int, QByteArray>> pixmaps;
    argument.beginArray();
    while (!argument.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray data;
        argument.beginStructure();
        argument >> width >> height >> data;
        argument.endStructure();
        pixmaps << std::make_tuple(width, height, data);
    }
    argument.endArray();
    return pixmaps;
}

// The labels of the layout's top level, separators left out; the ids beside them.
QList<std::pair<int, QString>> menuLabels(const QString& service)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, QStringLiteral("/MenuBar"), QStringLiteral("com.canonical.dbusmenu"), QStringLiteral("GetLayout"));
    call << 0 << -1 << QStringList();
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call);
    QList<std::pair<int, QString>> labels;
    if (reply.arguments().size() != 2)
        return labels;
    const QDBusArgument root = reply.arguments().at(1).value<QDBusArgument>();
    int id = 0;
    QVariantMap properties;
    root.beginStructure();
    root >> id >> properties;
    root.beginArray();
    while (!root.atEnd()) {
        QDBusVariant child;
        root >> child;
        const QDBusArgument item = child.variant().value<QDBusArgument>();
        item.beginStructure();
        item >> id >> properties;
        if (properties.value(QStringLiteral("type")).toString() != QLatin1String("separator"))
            labels << std::make_pair(id, properties.value(QStringLiteral("label")).toString());
    }
    return labels;
}

int idOf(const QList<std::pair<int, QString>>& labels, const QString& label)
{
    for (const auto& [id, text] : labels) {
        if (text == label)
            return id;
    }
    return -1;
}

// One text of the shipped French language file.
QString frenchText(int number)
{
    QFile file(
        QFileInfo(QStringLiteral(TAPISOL_PROGRAM)).absolutePath() + QStringLiteral("/../share/tapisol/lang/FRA.lng"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString prefix = QString::number(number) + QLatin1Char('=');
    for (const QString& line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed();
    }
    return {};
}

} // namespace

// A panel that shows StatusNotifierItems only and starts after Tapisol: Qt has made an XEmbed
// icon by then, so Tapisol shows an item of its own, with its menu over DBusMenu.
class TestE2eStatusNotifier : public E2eTest
{
    Q_OBJECT

private slots:
    void itemForAPanelThatCameLater()
    {
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QVERIFY(s->log().contains(QStringLiteral("SY, Intray XEmbed")));

        StatusNotifierWatcher watcher;
        QVERIFY(watcher.start());
        QTRY_COMPARE_WITH_TIMEOUT(watcher.registrations.size(), 1, 15000);
        QVERIFY(s->waitForLog(QStringLiteral("SY, Intray StatusNotifierItem (own)\r\n")));
        const QString service = watcher.registrations.first().section(QLatin1Char('/'), 0, 0);
        QVERIFY2(service.startsWith(QStringLiteral("org.kde.StatusNotifierItem-")), qPrintable(service));
        QCOMPARE(watcher.items(), QStringList {service + QStringLiteral("/StatusNotifierItem")});

        // The item as the host reads it.
        const QVariantMap item = itemProperties(service);
        QCOMPARE(item.value(QStringLiteral("Id")).toString(), QStringLiteral("tapisol"));
        QCOMPARE(item.value(QStringLiteral("Title")).toString(), QStringLiteral("Tapisol"));
        QCOMPARE(item.value(QStringLiteral("Category")).toString(), QStringLiteral("ApplicationStatus"));
        QCOMPARE(item.value(QStringLiteral("Status")).toString(), QStringLiteral("Active"));
        QCOMPARE(item.value(QStringLiteral("ItemIsMenu")).toBool(), false);
        QCOMPARE(item.value(QStringLiteral("Menu")).value<QDBusObjectPath>().path(), QStringLiteral("/MenuBar"));
        const auto pixmaps = readPixmaps(item.value(QStringLiteral("IconPixmap")).value<QDBusArgument>());
        QList<int> sizes;
        for (const auto& [width, height, data] : pixmaps) {
            sizes << width;
            QCOMPARE(height, width);
            QCOMPARE(data.size(), width * height * 4);
        }
        QCOMPARE(sizes, QList<int>({16, 22, 32, 48}));
        // Network byte order: alpha first. The corner is clear, the middle is the icon's blue sky.
        const QByteArray big = std::get<2>(pixmaps.last());
        const int middle = (24 * 48 + 24) * 4;
        QCOMPARE(quint8(big.at(0)), quint8(0));
        QCOMPARE(quint8(big.at(middle)), quint8(255));
        QVERIFY(quint8(big.at(middle + 3)) > quint8(big.at(middle + 1))); // more blue than red
        const QDBusArgument tip = item.value(QStringLiteral("ToolTip")).value<QDBusArgument>();
        QString tipIcon, tipTitle, tipText;
        tip.beginStructure();
        tip >> tipIcon;
        readPixmaps(tip);
        tip >> tipTitle >> tipText;
        tip.endStructure();
        // The tip the tray keeps current: the title and the minutes to the next change.
        QVERIFY2(tipTitle.startsWith(QStringLiteral("Tapisol ")), qPrintable(tipTitle));
        QVERIFY2(tipTitle.contains(frenchText(2120).section(QLatin1Char('%'), 0, 0)), qPrintable(tipTitle));

        // The tray's menu as the host draws it, and a click on "Fond d'écran suivant".
        auto labels = menuLabels(service);
        QVERIFY(idOf(labels, frenchText(374)) > 0); // Exit
        QVERIFY(idOf(labels, frenchText(366)) > 0); // auto mode is on: "stop" is offered
        const int next = idOf(labels, frenchText(369));
        QVERIFY(next > 0);
        QDBusInterface menu(service, QStringLiteral("/MenuBar"), QStringLiteral("com.canonical.dbusmenu"));
        QCOMPARE(menu.property("Version").toUInt(), 3u);
        // An item the menu does not have (the host's layout was older): an error, and the menu goes on.
        QCOMPARE(
            menu.call(QStringLiteral("GetProperty"), 9999, QStringLiteral("label")).type(), QDBusMessage::ErrorMessage);
        menu.call(QStringLiteral("Event"), next, QStringLiteral("clicked"), QVariant::fromValue(QDBusVariant(0)), 0u);
        QVERIFY(s->waitForLog(QStringLiteral("Sy ActionMenu 2")));

        // Auto mode stopped from the terminal: the host is told the new caption, and a new layout.
        SignalRecorder layoutUpdates, propertyUpdates;
        QVERIFY(layoutUpdates.listen(service, QStringLiteral("LayoutUpdated")));
        QVERIFY(propertyUpdates.listen(service, QStringLiteral("ItemsPropertiesUpdated")));
        const int autoMode = idOf(labels, frenchText(366));
        QVERIFY(s->command(1));
        QTRY_COMPARE_WITH_TIMEOUT(updatedLabels(propertyUpdates.received).value(autoMode), frenchText(367), 5000);
        QTRY_VERIFY(!layoutUpdates.received.isEmpty());
        labels = menuLabels(service);
        QCOMPARE(idOf(labels, frenchText(367)), autoMode);
        QCOMPARE(idOf(labels, frenchText(366)), -1);

        // A click on the icon, no window open: the default command (the settings, 0).
        QDBusInterface icon(
            service, QStringLiteral("/StatusNotifierItem"), QStringLiteral("org.kde.StatusNotifierItem"));
        QVERIFY(icon.call(QStringLiteral("Activate"), 0, 0).type() == QDBusMessage::ReplyMessage);
        QVERIFY(s->waitForLog(QStringLiteral("Sy ActionMenu 0")));

        // The panel restarts: a new watcher, a new registration.
        watcher.stop();
        QVERIFY(watcher.start());
        QTRY_COMPARE_WITH_TIMEOUT(watcher.registrations.size(), 2, 15000);
        QCOMPARE(watcher.items(), QStringList {service + QStringLiteral("/StatusNotifierItem")});

        // Exit from the exported menu: the program ends and its item leaves the panel.
        menu.call(QStringLiteral("Event"), idOf(labels, frenchText(374)), QStringLiteral("clicked"),
            QVariant::fromValue(QDBusVariant(0)), 0u);
        QVERIFY(tapisol->waitForFinished(15000));
        QCOMPARE(tapisol->exitCode(), 0);
        QVERIFY(s->log().contains(QStringLiteral("Sy ActionMenu 17")));
        QTRY_VERIFY_WITH_TIMEOUT(watcher.items().isEmpty(), 5000);
        watcher.stop();
    }
};

QTEST_GUILESS_MAIN(TestE2eStatusNotifier)
#include "tst_e2e_statusnotifier.moc"
