#include "E2eSession.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QtTest>

namespace {

// Stands in for the desktop's screen saver on the test's own session bus, speaking its interface.
class ScreenSaverService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")

public:
    QList<bool> activations;

public slots:
    bool SetActive(bool active)
    {
        activations << active;
        return true;
    }
};

QStringList trayerArguments()
{
    return {QStringLiteral("--edge"), QStringLiteral("top"), QStringLiteral("--align"), QStringLiteral("right"),
        QStringLiteral("--widthtype"), QStringLiteral("pixel"), QStringLiteral("--width"), QStringLiteral("200"),
        QStringLiteral("--height"), QStringLiteral("32")};
}

void xdotool(const QStringList& arguments)
{
    E2eSession::run(QStringLiteral("xdotool"), arguments);
}

void clickIcon(const QRect& icon, const QString& button, int repeat = 1)
{
    xdotool({QStringLiteral("mousemove"), QString::number(icon.center().x()), QString::number(icon.center().y()),
        QStringLiteral("click"), QStringLiteral("--repeat"), QString::number(repeat), button});
}

// Stands in for a desktop's StatusNotifierItem host (KDE, GNOME with its extension, …) on the
// test's session bus, speaking the watcher's interface: items register with it.
class StatusNotifierWatcher : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isHostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    QStringList registered;
    bool isHostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList items() const { return registered; }

public slots:
    void RegisterStatusNotifierItem(const QString& service, const QDBusMessage& message)
    {
        registered << (service.startsWith(QLatin1Char('/')) ? message.service() : service);
    }
    void RegisterStatusNotifierHost(const QString&) { }

signals:
    void StatusNotifierItemRegistered(const QString& service);
};

} // namespace

// The tray icon in a real XEmbed tray host (trayer): docking, the context menu, the default
// command, a tray host that comes late or dies and comes back.
class TestE2eTray : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<E2eSession> s;

private slots:
    void init() { s = std::make_unique<E2eSession>(); }
    void cleanup() { s.reset(); }

    void menuAndDoubleClickRunCommands()
    {
        s->startHelper(QStringLiteral("trayer"), trayerArguments());
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QTRY_VERIFY_WITH_TIMEOUT(!E2eSession::trayIconGeometry().isEmpty(), 15000);
        const QRect icon = E2eSession::trayIconGeometry();

        // Right click: the menu opens; the fourth line down is "Next" (index 2: the first Down selects line 0).
        clickIcon(icon, QStringLiteral("3"));
        QTRY_VERIFY_WITH_TIMEOUT(!E2eSession::openMenuGeometry().isEmpty(), 10000);
        xdotool({QStringLiteral("key"), QStringLiteral("Down"), QStringLiteral("Down"), QStringLiteral("Down"),
            QStringLiteral("Return")});
        QVERIFY(s->waitForLog(QStringLiteral("SY, MenuContext Action 2\r\nSy ActionMenu 2")));

        // A double click runs the default command, the settings dialog (0) unless set otherwise.
        clickIcon(icon, QStringLiteral("1"), 2);
        QVERIFY(s->waitForLog(QStringLiteral("Sy ActionMenu 0")));

        // Up from the top wraps to the last entry: Exit.
        clickIcon(icon, QStringLiteral("3"));
        QTRY_VERIFY_WITH_TIMEOUT(!E2eSession::openMenuGeometry().isEmpty(), 10000);
        xdotool({QStringLiteral("key"), QStringLiteral("Up"), QStringLiteral("Return")});
        QVERIFY(tapisol->waitForFinished(15000));
        QVERIFY(s->log().contains(QStringLiteral("SY, MenuContext Action 20\r\nSy ActionMenu 17\r\nSY, QueryUnload")));
    }

    void iconWaitsForATrayHostAndSurvivesItsRestart()
    {
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End")));
        QVERIFY(s->log().contains(QStringLiteral("SY, Intray, Tapisol attend une zone de notification")));
        QVERIFY(E2eSession::trayIconGeometry().isEmpty());

        QProcess* tray = s->startHelper(QStringLiteral("trayer"), trayerArguments());
        QTRY_VERIFY_WITH_TIMEOUT(!E2eSession::trayIconGeometry().isEmpty(), 15000);

        tray->kill(); // the tray host dies...
        QVERIFY(tray->waitForFinished(5000));
        QTRY_VERIFY_WITH_TIMEOUT(E2eSession::trayIconGeometry().isEmpty(), 15000);
        s->startHelper(QStringLiteral("trayer"), trayerArguments()); // ...and the desktop starts it again
        QTRY_VERIFY_WITH_TIMEOUT(!E2eSession::trayIconGeometry().isEmpty(), 15000);
        QCOMPARE(tapisol->state(), QProcess::Running);
    }

    // Monitors plugged in and out while the menu is open: the list follows, the program goes on.
    void monitorsChangeUnderAnOpenMenu()
    {
        s->startHelper(QStringLiteral("trayer"), trayerArguments());
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QTRY_VERIFY_WITH_TIMEOUT(!E2eSession::trayIconGeometry().isEmpty(), 15000);
        clickIcon(E2eSession::trayIconGeometry(), QStringLiteral("3"));
        QTRY_VERIFY_WITH_TIMEOUT(!E2eSession::openMenuGeometry().isEmpty(), 10000);

        const auto xrandr = [](const QStringList& arguments) { E2eSession::run(QStringLiteral("xrandr"), arguments); };
        xrandr({QStringLiteral("--setmonitor"), QStringLiteral("left"), QStringLiteral("640/170x800/210+0+0"),
            QStringLiteral("none")});
        xrandr({QStringLiteral("--setmonitor"), QStringLiteral("right"), QStringLiteral("640/170x800/210+640+0"),
            QStringLiteral("none")});
        // Xvfb keeps its own whole-screen monitor beside the two defined here.
        QVERIFY(s->waitForLog(QStringLiteral("SY Monitors 3")));
        xrandr({QStringLiteral("--delmonitor"), QStringLiteral("right")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Monitors 2")));

        xdotool({QStringLiteral("key"), QStringLiteral("Escape")});
        QCOMPARE(tapisol->state(), QProcess::Running);
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(tapisol->waitForFinished(15000));
        QCOMPARE(tapisol->exitCode(), 0);
    }

    // Auto mode starts as the user left it; the about box opens and closes.
    void autoModeAndAboutBox()
    {
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End")));
        QVERIFY(s->log().contains(QStringLiteral("SY TurnTimer 1"))); // on for a first start
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("1")}), 0);
        QVERIFY(s->waitForLog(QStringLiteral("SY TurnTimer 0")));

        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("14")}), 0);
        const QString about = E2eSession::run(QStringLiteral("xdotool"),
            {QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--onlyvisible"),
                QStringLiteral("--name"), QStringLiteral("propos de Tapisol")});
        QVERIFY(!about.isEmpty());
        xdotool({QStringLiteral("key"), QStringLiteral("--window"), about.section(QLatin1Char('\n'), 0, 0),
            QStringLiteral("Return")});
        QTRY_VERIFY_WITH_TIMEOUT(E2eSession::run(QStringLiteral("xdotool"),
                                     {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                         QStringLiteral("--name"), QStringLiteral("propos de Tapisol")})
                                     .isEmpty(),
            10000);
        QCOMPARE(tapisol->state(), QProcess::Running);

        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(tapisol->waitForFinished(15000));
        QProcess* again = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End"), 2));
        QCOMPARE(s->log().count(QStringLiteral("SY TurnTimer 1")), 1); // still off after the restart
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(again->waitForFinished(15000));
    }

    // With a StatusNotifierItem host on the bus the icon is an item of it, and the host's
    // context-menu request opens our menu.
    void statusNotifierHost()
    {
        StatusNotifierWatcher watcher;
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties
                | QDBusConnection::ExportAllSignals));
        QVERIFY(bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher")));
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End")));
        QTRY_COMPARE_WITH_TIMEOUT(watcher.registered.size(), 1, 15000);

        QDBusInterface item(watcher.registered.first(), QStringLiteral("/StatusNotifierItem"),
            QStringLiteral("org.kde.StatusNotifierItem"), bus);
        QTRY_COMPARE_WITH_TIMEOUT(item.property("Title").toString(), QStringLiteral("Tapisol"), 10000);
        QCOMPARE(item.property("Status").toString(), QStringLiteral("Active"));

        // The host asks for the menu: it opens under the pointer, where the user clicked the icon.
        xdotool({QStringLiteral("mousemove"), QStringLiteral("600"), QStringLiteral("300")});
        item.asyncCall(QStringLiteral("ContextMenu"), 600, 300);
        QTRY_VERIFY_WITH_TIMEOUT(!E2eSession::openMenuGeometry().isEmpty(), 10000);
        xdotool({QStringLiteral("key"), QStringLiteral("Escape")});
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(tapisol->waitForFinished(15000));
        bus.unregisterService(QStringLiteral("org.kde.StatusNotifierWatcher"));
        bus.unregisterObject(QStringLiteral("/StatusNotifierWatcher"));
    }

    void screenSaverCommandAsksTheDesktop()
    {
        ScreenSaverService saver;
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerService(QStringLiteral("org.freedesktop.ScreenSaver")));
        QVERIFY(bus.registerObject(
            QStringLiteral("/org/freedesktop/ScreenSaver"), &saver, QDBusConnection::ExportAllSlots));
        s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End")));
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("16")}), 0);
        QTRY_COMPARE_WITH_TIMEOUT(saver.activations, QList<bool>({true}), 10000);
        bus.unregisterObject(QStringLiteral("/org/freedesktop/ScreenSaver"));
        bus.unregisterService(QStringLiteral("org.freedesktop.ScreenSaver"));
    }
};

QTEST_GUILESS_MAIN(TestE2eTray)
#include "tst_e2e_tray.moc"
