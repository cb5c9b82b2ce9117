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
    bool SetActive(bool active) { return activations << active, true; }
};

// Stands in for a desktop's StatusNotifierItem host (KDE, GNOME with its extension, …) on the
// test's session bus, speaking the watcher's interface: items register with it.
class StatusNotifierWatcher : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isHostRegistered)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    QStringList registered;
    bool isHostRegistered() const { return true; }
    QStringList items() const { return registered; }

public slots:
    void RegisterStatusNotifierItem(const QString& service, const QDBusMessage& message)
    {
        registered << (service.startsWith(QLatin1Char('/')) ? message.service() : service);
    }
};

QProcess* startTrayHost(E2eSession& s)
{
    return s.start(QStringLiteral("--edge top --align right --widthtype pixel --width 200 --height 32").split(' '),
        QStringLiteral("trayer"));
}

// The docked icon once the tray host has placed it (two readings in a row agree); empty if never.
QRect dockedIcon()
{
    QRect last;
    const bool settled = QTest::qWaitFor(
        [&last] {
            const QRect now = E2eSession::trayIconGeometry();
            return std::exchange(last, now) == now && !now.isEmpty();
        },
        15000);
    return settled ? last : QRect();
}

// Clicks the docked icon with `button`, `times` times.
void clickIcon(const QString& button, int times = 1)
{
    const QPoint icon = dockedIcon().center();
    E2eSession::run(QStringLiteral("xdotool mousemove %1 %2 click --repeat %3 %4")
                        .arg(icon.x())
                        .arg(icon.y())
                        .arg(times)
                        .arg(button));
}

bool menuOpens()
{
    return QTest::qWaitFor([] { return !E2eSession::openMenuGeometry().isEmpty(); }, 10000);
}

} // namespace

// The tray icon in a real XEmbed tray host (trayer) and as a StatusNotifierItem: docking, the
// context menu, the default command, a tray host that comes late or dies and comes back.
class TestE2eTray : public E2eTest
{
    Q_OBJECT

private slots:
    void menuAndDoubleClickRunCommands()
    {
        startTrayHost(*s);
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(!dockedIcon().isEmpty());

        // The fourth line down is "Next" (index 2: the first Down selects line 0).
        clickIcon(QStringLiteral("3"));
        QVERIFY(menuOpens());
        E2eSession::run(QStringLiteral("xdotool key Down Down Down Return"));
        QVERIFY(s->waitForLog(QStringLiteral("SY, MenuContext Action 2\r\nSy ActionMenu 2")));
        // A double click runs the default command, the settings dialog (0) unless set otherwise.
        clickIcon(QStringLiteral("1"), 2);
        QVERIFY(s->waitForLog(QStringLiteral("Sy ActionMenu 0")));

        // Monitors plugged in and out while the menu is open: the list follows, the program goes on.
        clickIcon(QStringLiteral("3"));
        QVERIFY(menuOpens());
        E2eSession::run(QStringLiteral("xrandr --setmonitor left 640/170x800/210+0+0 none"));
        E2eSession::run(QStringLiteral("xrandr --setmonitor right 640/170x800/210+640+0 none"));
        QVERIFY(s->waitForLog(QStringLiteral("SY Monitors 3"))); // Xvfb keeps its own whole-screen one
        E2eSession::run(QStringLiteral("xrandr --delmonitor right"));
        QVERIFY(s->waitForLog(QStringLiteral("SY Monitors 2")));
        E2eSession::run(QStringLiteral("xdotool key Escape"));

        // Up from the top wraps to the last entry: Exit.
        clickIcon(QStringLiteral("3"));
        QVERIFY(menuOpens());
        E2eSession::run(QStringLiteral("xdotool key Up Return"));
        QVERIFY(tapisol->waitForFinished(15000));
        QCOMPARE(tapisol->exitCode(), 0);
        QVERIFY(s->log().contains(QStringLiteral("SY, MenuContext Action 20\r\nSy ActionMenu 17\r\nSY, QueryUnload")));
    }

    void iconWaitsForATrayHostAndSurvivesItsRestart()
    {
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QVERIFY(s->log().contains(QStringLiteral("SY, Intray, Tapisol attend une zone de notification")));
        QVERIFY(E2eSession::trayIconGeometry().isEmpty());

        QProcess* tray = startTrayHost(*s);
        QVERIFY(!dockedIcon().isEmpty());
        tray->kill(); // the tray host dies...
        QVERIFY(tray->waitForFinished(5000));
        QTRY_VERIFY_WITH_TIMEOUT(E2eSession::trayIconGeometry().isEmpty(), 15000);
        startTrayHost(*s); // ...and the desktop starts it again
        QVERIFY(!dockedIcon().isEmpty());
        QCOMPARE(tapisol->state(), QProcess::Running);
    }

    // Commands from the terminal: auto mode starts again as the user left it; the screen saver
    // command asks the desktop's; the about box opens and closes.
    void commandsAndAutoModeAcrossARestart()
    {
        ScreenSaverService saver;
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerObject(
            QStringLiteral("/org/freedesktop/ScreenSaver"), &saver, QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(QStringLiteral("org.freedesktop.ScreenSaver")));
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QVERIFY(s->log().contains(QStringLiteral("SY TurnTimer 1"))); // on for a first start
        QVERIFY(s->command(1));
        QVERIFY(s->waitForLog(QStringLiteral("SY TurnTimer 0")));
        QVERIFY(s->command(16));
        QTRY_COMPARE_WITH_TIMEOUT(saver.activations, QList<bool>({true}), 10000);
        QVERIFY(s->command(14));
        QVERIFY(E2eSession::pressReturnIn(QStringLiteral("propos de Tapisol")));
        QTRY_VERIFY_WITH_TIMEOUT(
            E2eSession::run(QStringLiteral("xdotool search --onlyvisible --name propos")).isEmpty(), 10000);
        QVERIFY(s->exit(tapisol));
        QProcess* again = s->startLoaded();
        QVERIFY(again);
        QCOMPARE(s->log().count(QStringLiteral("SY TurnTimer 1")), 1); // still off after the restart
        QVERIFY(s->exit(again));
        bus.unregisterService(QStringLiteral("org.freedesktop.ScreenSaver"));
        bus.unregisterObject(QStringLiteral("/org/freedesktop/ScreenSaver"));
    }

    // With a StatusNotifierItem host on the bus the icon is an item of it, and the host's
    // context-menu request opens our menu under the pointer, where the user clicked the icon.
    void statusNotifierHost()
    {
        StatusNotifierWatcher watcher;
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties));
        QVERIFY(bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher")));
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QTRY_COMPARE_WITH_TIMEOUT(watcher.registered.size(), 1, 15000);
        QDBusInterface item(watcher.registered.first(), QStringLiteral("/StatusNotifierItem"),
            QStringLiteral("org.kde.StatusNotifierItem"), bus);
        QTRY_COMPARE_WITH_TIMEOUT(item.property("Title").toString(), QStringLiteral("Tapisol"), 10000);
        QCOMPARE(item.property("Status").toString(), QStringLiteral("Active"));
        E2eSession::run(QStringLiteral("xdotool mousemove 600 300"));
        item.asyncCall(QStringLiteral("ContextMenu"), 600, 300);
        QVERIFY(menuOpens());
        E2eSession::run(QStringLiteral("xdotool key Escape"));
        QVERIFY(s->exit(tapisol));
        bus.unregisterService(QStringLiteral("org.kde.StatusNotifierWatcher"));
        bus.unregisterObject(QStringLiteral("/StatusNotifierWatcher"));
    }
};

QTEST_GUILESS_MAIN(TestE2eTray)
#include "tst_e2e_tray.moc"
