#include "AppState.h"
#include "CommandDispatcher.h"
#include "HotkeyText.h"
#include "SecondDispatcher.h"
#include "SettingsTable.h"
#include "TempXdgHome.h"
#include "TestClock.h"
#include "Trace.h"
#include "TrayMenuModel.h"
#include "TrayServices.h"

#include <QtTest>

namespace {

// The one-second dispatcher, recording what it asked of the windows and subsystems around it.
struct Tray : TrayView, WallpaperEngine, AlarmScanner, Chime
{
    int interval;
    bool aboutOpen = false;
    QString tip;
    int changes = 0, scans = 0, chimeChecks = 0;
    TestClock clock {QDateTime(QDate(2026, 3, 28), QTime(23, 59, 0))};
    AutoModeSchedule schedule;
    SecondDispatcher dispatcher {{this, this, this, this, &schedule, [this] { return interval; }}};

    explicit Tray(int minutes, bool autoMode = true)
        : interval(minutes)
    {
        schedule.turn(autoMode, clock.now(), minutes);
    }
    void tickFor(int seconds)
    {
        for (int i = 0; i < seconds; ++i) {
            dispatcher.tick();
            clock.advanceSeconds(1);
        }
    }
    qint64 secondsLeft() const { return schedule.secondsLeft(clock.now()); }
    int loadedFormCount() const override { return 1; }
    bool aboutBoxOpen() const override { return aboutOpen; }
    void showSecondsLeft(qint64) override { }
    void setTipText(const QString& text) override { tip = text; }
    void refreshCalendarClock() override { }
    bool changeToNext() override { return ++changes > 0; }
    void reapply() override { }
    void monitorsChanged() override { }
    QString currentDescription() const override { return QStringLiteral("a.jpg"); }
    void scanDueAlarms(const QDateTime&) override { ++scans; }
    void check(const QDateTime&) override { ++chimeChecks; }
    void strike() override { }
};

} // namespace

class TestTrayLogic : public QObject
{
    Q_OBJECT

private slots:
    // Modifiers 1 Alt, 2 Ctrl, 4 Maj, 8 Win, written in a fixed order; codes 112 to 127 are F1 to F16.
    void hotkeyTexts()
    {
        const QList<std::tuple<int, int, QString>> cases = {{3, 65, "Ctrl+Alt+A"}, {6, 116, "Ctrl+Maj+F5"},
            {15, 48, "Ctrl+Alt+Maj+Win+0"}, {0, 127, "F16"}, {8, 128, "Win+128"}, {1, 47, "Alt+47"}, {3, 0, ""}};
        for (const auto& [modifiers, code, text] : cases)
            QCOMPARE(hotkeyText(modifiers, code), text);
        // The same keys as key sequences, for a menu a StatusNotifierItem host draws; a code
        // without a key of its own gives none.
        const QList<std::tuple<int, int, QString>> sequences = {{3, 65, "Ctrl+Alt+A"}, {6, 116, "Ctrl+Shift+F5"},
            {8, 57, "Meta+9"}, {0, 112, "F1"}, {1, 47, ""}, {3, 0, ""}};
        for (const auto& [modifiers, code, text] : sequences)
            QCOMPARE(hotkeySequence(modifiers, code).toString(QKeySequence::PortableText), text);
    }

    // Check marks, captions and hot keys follow the state and the stored settings.
    void menuFollowsState()
    {
        const QHash<int, int> stored = {{SettingNo::HKNextWallMod, 2}, {SettingNo::HKNextWallCode, 'N'},
            {SettingNo::HKQuietAllMod, 5}, {SettingNo::HKQuietAllCode, 113}};
        QHash<int, TrayMenuEntry> menu; // by command
        const auto build = [&](const TrayMenuState& state) {
            for (const TrayMenuEntry& entry : buildTrayMenu(state, [&](int number) { return stored.value(number); }))
                menu[entry.command] = entry;
        };
        build({});
        QCOMPARE(menu[1].key, QStringLiteral("AutoOff"));
        QCOMPARE(menu[3].captionNumber, 370); // the quick change's caption names its source
        QVERIFY(menu[7].checkable && !menu[7].checked && !menu[9].checked);
        QCOMPARE(QStringList({menu[2].shortcutText, menu[9].shortcutText, menu[11].shortcutText, menu[0].shortcutText}),
            QStringList({"Ctrl+N", "Alt+Maj+F2", "F1", ""}));
        QCOMPARE(
            QList<int>({menu[9].hotkeyModifiers, menu[9].hotkeyCode, menu[11].hotkeyCode}), QList<int>({5, 113, 112}));
        build({false, true, true, true, true}); // auto mode off, everything else on
        QCOMPARE(menu[1].key, QStringLiteral("AutoOn"));
        QVERIFY(menu[7].checked && menu[9].checked);
        QCOMPARE(menu[3].captionNumber, 383);
        build({false, true, false, true, true});
        QCOMPARE(menu[3].captionNumber, 375);
    }

    // Commands run by number and are traced; one whose window is not there yet is accepted.
    void dispatcherRunsAndTraces()
    {
        TempXdgHome home;
        appState().trace = true;
        appState().silent = true;
        Trace::resetForTests();
        CommandDispatcher dispatcher;
        QList<int> ran;
        dispatcher.setAction(2, [&ran] { ran << 2; });
        QCOMPARE(QList<bool>({dispatcher.run(2), dispatcher.run(5), dispatcher.run(18), dispatcher.run(-1)}),
            QList<bool>({true, true, false, false}));
        QCOMPARE(ran, QList<int>({2}));
        QFile log(Trace::logFilePath());
        QVERIFY(log.open(QIODevice::ReadOnly));
        QCOMPARE(log.readAll(),
            QByteArray("Sy ActionMenu 2\r\nSy ActionMenu 5\r\nSy ActionMenu 5 pas encore disponible\r\n"
                       "Sy ActionMenu 18\r\nSy ActionMenu -1\r\n"));
        appState() = AppState();
    }

    // Alarms and the chime run every second whatever the mode, the alarms not while the about box
    // is open; auto mode changes the wallpaper once an interval.
    void secondTicks()
    {
        Tray off(1, false);
        off.tickFor(120);
        off.aboutOpen = true;
        off.tickFor(1);
        QCOMPARE(QList<int>({off.changes, off.scans, off.chimeChecks}), QList<int>({0, 120, 121}));

        Tray on(2);
        on.clock.advanceSeconds(119);
        on.tickFor(1);
        QCOMPARE(on.changes, 0);
        on.dispatcher.tick();
        QCOMPARE(on.changes, 1);
        QCOMPARE(on.secondsLeft(), 120);
        QCOMPARE(on.tip, QStringLiteral("Tapisol a.jpg #2120")); // no texts loaded in this test
    }

    // Suspend and resume, or a clock put forward: one change at once, not one per missed interval.
    // A clock set back never postpones the change past one interval.
    void clockJumps()
    {
        Tray forward(5);
        forward.clock.advanceDays(2);
        forward.tickFor(10);
        QCOMPARE(forward.changes, 1);
        QCOMPARE(forward.secondsLeft(), 5 * 60 - 10);

        Tray back(5);
        back.clock.advanceDays(-1);
        back.dispatcher.tick();
        QCOMPARE(back.secondsLeft(), 5 * 60);
        back.clock.advanceSeconds(5 * 60);
        back.dispatcher.tick();
        QCOMPARE(back.changes, 1);
    }
};

QTEST_GUILESS_MAIN(TestTrayLogic)
#include "tst_traylogic.moc"
