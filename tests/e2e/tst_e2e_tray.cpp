#include "E2eSession.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QStandardPaths>
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

// The desktop's notification service on the test's bus, speaking its interface: Notify() keeps
// what it was given.
class Notifications : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QStringList summaries;

public slots:
    uint Notify(const QString&, uint, const QString&, const QString& summary, const QString&, const QStringList&,
        const QVariantMap&, int)
    {
        summaries << summary;
        return uint(summaries.size());
    }
};

// One item of a DBusMenu layout: its id, its properties and the items under it.
struct MenuItem
{
    int id = 0;
    QVariantMap properties;
    QList<MenuItem> children;
};

MenuItem readMenuItem(const QDBusArgument& argument)
{
    MenuItem item;
    argument.beginStructure();
    argument >> item.id >> item.properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        item.children << readMenuItem(child.variant().value<QDBusArgument>());
    }
    argument.endArray();
    argument.endStructure();
    return item;
}

// The interface texts of the shipped French language file, by number.
QHash<int, QString> frenchTexts()
{
    QFile file(
        QFileInfo(QStringLiteral(TAPISOL_PROGRAM)).absolutePath() + QStringLiteral("/../share/tapisol/lang/FRA.lng"));
    QHash<int, QString> texts;
    if (file.open(QIODevice::ReadOnly)) {
        for (const QString& line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
            bool ok = false;
            const int number = line.section(QLatin1Char('='), 0, 0).toInt(&ok);
            if (ok)
                texts.insert(number, line.section(QLatin1Char('='), 1));
        }
    }
    return texts;
}

// A real StatusNotifierItem host: xfce4-panel and its status tray, on the test's own bus.
QProcess* startStatusNotifierHost(E2eSession& s)
{
    QProcess* panel = s.start({QStringLiteral("--disable-wm-check")}, QStringLiteral("xfce4-panel"));
    const bool up = QTest::qWaitFor(
        [] {
            QDBusInterface watcher(QStringLiteral("org.kde.StatusNotifierWatcher"),
                QStringLiteral("/StatusNotifierWatcher"), QStringLiteral("org.kde.StatusNotifierWatcher"));
            return watcher.isValid() && watcher.property("IsStatusNotifierHostRegistered").toBool();
        },
        20000);
    return up ? panel : nullptr;
}

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
        QVERIFY(s->log().contains(QStringLiteral("SY, MenuContext Action 21\r\nSy ActionMenu 17\r\nSY, QueryUnload")));
    }

    // No tray host: the user is told once by a desktop notification, the program works, and the
    // icon docks when a host comes; it survives the host's death and return.
    void iconWaitsForATrayHostAndSurvivesItsRestart()
    {
        Notifications notifications;
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerObject(
            QStringLiteral("/org/freedesktop/Notifications"), &notifications, QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(QStringLiteral("org.freedesktop.Notifications")));
        const auto cleanup = qScopeGuard([&bus] {
            bus.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
            bus.unregisterObject(QStringLiteral("/org/freedesktop/Notifications"));
        });
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QVERIFY(s->log().contains(QStringLiteral("SY, Intray, Tapisol attend une zone de notification")));
        QVERIFY(E2eSession::trayIconGeometry().isEmpty());
        QTRY_COMPARE(notifications.summaries,
            QStringList {QStringLiteral("Tapisol attend une zone de notification pour afficher son icône.")});
        QVERIFY(s->command(9)); // the program answers all the same

        QProcess* tray = startTrayHost(*s);
        QVERIFY(!dockedIcon().isEmpty());
        tray->kill(); // the tray host dies...
        QVERIFY(tray->waitForFinished(5000));
        QTRY_VERIFY_WITH_TIMEOUT(E2eSession::trayIconGeometry().isEmpty(), 15000);
        startTrayHost(*s); // ...and the desktop starts it again
        QVERIFY(!dockedIcon().isEmpty());
        QCOMPARE(tapisol->state(), QProcess::Running);
        QCOMPARE(notifications.summaries.size(), 1); // told once
    }

    // The usual order at log-in: Tapisol before the panel. xfce4-panel's status tray, started
    // later, docks the icon.
    void panelStartedAfterTapisol()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("xfce4-panel")).isEmpty())
            QSKIP("xfce4-panel is not installed");
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QVERIFY(E2eSession::trayIconGeometry().isEmpty());
        QVERIFY(startStatusNotifierHost(*s));
        QVERIFY(!dockedIcon().isEmpty());
        QVERIFY(s->exit(tapisol));
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

    // With a StatusNotifierItem host (xfce4-panel's status tray) the icon is an item of it: its
    // menu is exported over DBusMenu with the French captions, kept current, and its entries run
    // their commands; the host's one activation runs the default command.
    void statusNotifierHost()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("xfce4-panel")).isEmpty())
            QSKIP("xfce4-panel is not installed");
        QVERIFY(startStatusNotifierHost(*s));
        const QString pictures = s->home().path() + QStringLiteral("/home/Pictures/");
        for (const char* colour : {"red", "green", "blue"}) {
            E2eSession::run(
                QStringLiteral("convert -size 320x200 xc:%1 %2%1.png").arg(QLatin1String(colour), pictures));
            QVERIFY(QFileInfo::exists(pictures + QLatin1String(colour) + QStringLiteral(".png")));
        }
        {
            QSettings settings = s->configFile();
            settings.setValue(QStringLiteral("Paramètres/Répertoire"), pictures);
            settings.setValue(QStringLiteral("Paramètres/MenuOptionDefaut"), 2); // next wallpaper
            settings.setValue(QStringLiteral("Paramètres/SelectRandom"), 0);
            settings.setValue(QStringLiteral("Paramètres/StartChange"), 0);
        }
        QProcess* tapisol = s->startLoaded();
        QVERIFY(tapisol);
        QVERIFY(s->log().contains(QStringLiteral("SY, Intray StatusNotifierItem")));

        QDBusInterface watcher(QStringLiteral("org.kde.StatusNotifierWatcher"),
            QStringLiteral("/StatusNotifierWatcher"), QStringLiteral("org.kde.StatusNotifierWatcher"));
        QStringList items;
        QTRY_VERIFY_WITH_TIMEOUT(
            !(items = watcher.property("RegisteredStatusNotifierItems").toStringList()).isEmpty(), 15000);
        const QString service = items.first().section(QLatin1Char('/'), 0, 0);
        const QString path = QLatin1Char('/') + items.first().section(QLatin1Char('/'), 1);
        QDBusInterface item(service, path, QStringLiteral("org.kde.StatusNotifierItem"));
        const QString menuPath = item.property("Menu").value<QDBusObjectPath>().path();
        QVERIFY2(menuPath.size() > 1 && menuPath != QLatin1String("/NO_DBUSMENU"), qPrintable(menuPath));

        // The layout as the host reads it, before any menu was opened.
        QDBusInterface menu(service, menuPath, QStringLiteral("com.canonical.dbusmenu"));
        const auto layoutNow = [&menu] {
            const QDBusMessage reply = menu.call(QStringLiteral("GetLayout"), 0, -1, QStringList());
            return reply.arguments().size() == 2 ? readMenuItem(reply.arguments().at(1).value<QDBusArgument>())
                                                 : MenuItem();
        };
        const auto labels = [](const MenuItem& root) {
            QStringList shown;
            for (const MenuItem& child : root.children) {
                if (child.properties.value(QStringLiteral("type")).toString() != QLatin1String("separator"))
                    shown << child.properties.value(QStringLiteral("label")).toString().remove(QLatin1Char('_'));
            }
            return shown;
        };
        const QHash<int, QString> french = frenchTexts();
        QStringList expected;
        for (int number : {363, 366, 369, 370, 532, 2026, 371, 434, 422, 3000, 380, 372, 373, 382, 2111, 418, 374})
            expected << french.value(number);
        MenuItem layout = layoutNow();
        QCOMPARE(labels(layout), expected);

        // Auto mode stopped from the terminal: the exported caption follows within the second.
        QVERIFY(s->command(1));
        expected[1] = french.value(367);
        QTRY_COMPARE_WITH_TIMEOUT(labels(layoutNow()), expected, 5000);

        // A click on "Fond d'écran suivant", as the host sends it.
        layout = layoutNow();
        const auto next = std::find_if(layout.children.cbegin(), layout.children.cend(), [&](const MenuItem& child) {
            return child.properties.value(QStringLiteral("label")).toString() == french.value(369);
        });
        QVERIFY(next != layout.children.cend());
        menu.call(QStringLiteral("Event"), next->id, QStringLiteral("clicked"),
            QVariant::fromValue(QDBusVariant(QVariant(0))), 0u);
        QVERIFY(s->waitForLog(QStringLiteral("Sy ActionMenu 2")));
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed")));

        // The host's activation (a click on the icon): the default command, the next wallpaper.
        item.call(QStringLiteral("Activate"), 0, 0);
        QVERIFY(s->waitForLog(QStringLiteral("SY Chg WP Changed"), 2));
        QVERIFY(s->exit(tapisol));
    }
};

QTEST_GUILESS_MAIN(TestE2eTray)
#include "tst_e2e_tray.moc"
