#include "AppState.h"
#include "AutoModeSchedule.h"
#include "CommandDispatcher.h"
#include "HotkeyText.h"
#include "SecondDispatcher.h"
#include "SettingsTable.h"
#include "TempXdgHome.h"
#include "TestClock.h"
#include "Trace.h"
#include "TrayMenuModel.h"
#include "TrayServices.h"

#include <QFile>
#include <QtTest>

namespace {

// Records what the dispatcher asked of the windows and subsystems around it.
struct Recorder : TrayView, WallpaperEngine, AlarmScanner, Chime
{
    int forms = 1;
    bool aboutOpen = false;
    QString tip;
    int changes = 0;
    int scans = 0;
    int chimeChecks = 0;

    int loadedFormCount() const override { return forms; }
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

const QDateTime Start(QDate(2026, 3, 28), QTime(23, 59, 0));

} // namespace

class TestTrayLogic : public QObject
{
    Q_OBJECT

private slots:
    void hotkeyTexts_data()
    {
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("text");
        QTest::newRow("ctrl alt A") << 3 << 65 << "Ctrl+Alt+A";
        QTest::newRow("ctrl shift F5") << 6 << 116 << "Ctrl+Maj+F5";
        QTest::newRow("all modifiers, fixed order") << 15 << 48 << "Ctrl+Alt+Maj+Win+0";
        QTest::newRow("F16") << 0 << 127 << "F16";
        QTest::newRow("past F16 is a number") << 8 << 128 << "Win+128";
        QTest::newRow("below the digits") << 1 << 47 << "Alt+47";
        QTest::newRow("no binding") << 3 << 0 << "";
    }

    void hotkeyTexts()
    {
        QFETCH(int, modifiers);
        QFETCH(int, code);
        QFETCH(QString, text);
        QCOMPARE(hotkeyText(modifiers, code), text);
    }

    void menuEntriesFollowState()
    {
        const auto noKeys = [](int) { return 0; };
        const QList<TrayMenuEntry> menu = buildTrayMenu(TrayMenuState {}, noKeys);
        QStringList keys;
        QList<int> commands;
        for (const TrayMenuEntry& entry : menu) {
            keys << entry.key;
            commands << entry.command;
        }
        QCOMPARE(keys,
            QStringList({"Param", "AutoOff", "Next", "Quick", "-", "Diaporama", "Assist", "-", "Agenda", "", "Notes",
                "-", "Help", "", "Infos", "-", "", "Ciselor", "", "-", "Exit"}));
        QCOMPARE(commands, QList<int>({0, 1, 2, 3, -1, 4, 5, -1, 6, 7, 8, -1, 11, 12, 14, -1, 9, 15, 16, -1, 17}));
        QCOMPARE(menu[12].shortcutText, QStringLiteral("F1"));
        QCOMPARE(menu[3].captionNumber, 370);

        TrayMenuState state;
        state.autoMode = false;
        state.projectDefined = true;
        state.sourceIsProject = true;
        state.quietAll = true;
        state.agendaOnDesktop = true;
        const QList<TrayMenuEntry> other = buildTrayMenu(state, noKeys);
        QCOMPARE(other[1].key, QStringLiteral("AutoOn"));
        QCOMPARE(other[1].captionNumber, 367);
        QCOMPARE(other[3].captionNumber, 383);
        QVERIFY(other[9].checkable && other[9].checked);
        QVERIFY(other[16].checkable && other[16].checked);
        state.sourceIsProject = false;
        QCOMPARE(buildTrayMenu(state, noKeys)[3].captionNumber, 375);
    }

    void menuShowsStoredHotkeys()
    {
        const QHash<int, int> stored = {{SettingNo::HKNextWallMod, 2}, {SettingNo::HKNextWallCode, 'N'},
            {SettingNo::HKQuietAllMod, 5}, {SettingNo::HKQuietAllCode, 113}};
        const QList<TrayMenuEntry> menu
            = buildTrayMenu(TrayMenuState {}, [&stored](int number) { return stored.value(number); });
        QCOMPARE(menu[2].shortcutText, QStringLiteral("Ctrl+N"));
        QCOMPARE(menu[16].shortcutText, QStringLiteral("Alt+Maj+F2"));
        QVERIFY(menu[0].shortcutText.isEmpty());
    }

    void dispatcherRunsAndTraces()
    {
        TempXdgHome home;
        appState().trace = true;
        appState().silent = true;
        Trace::resetForTests();
        CommandDispatcher dispatcher;
        QList<int> ran;
        dispatcher.setAction(2, [&ran] { ran << 2; });
        QVERIFY(dispatcher.run(2));
        QVERIFY(dispatcher.run(5)); // a command whose window is not there yet
        QVERIFY(!dispatcher.run(18));
        QVERIFY(!dispatcher.run(-1));
        QCOMPARE(ran, QList<int>({2}));
        QFile log(Trace::logFilePath());
        QVERIFY(log.open(QIODevice::ReadOnly));
        QCOMPARE(log.readAll(),
            QByteArray("Sy ActionMenu 2\r\nSy ActionMenu 5\r\nSy ActionMenu 5 pas encore disponible\r\n"
                       "Sy ActionMenu 18\r\nSy ActionMenu -1\r\n"));
        appState() = AppState();
    }

    // Auto mode off: nothing changes, but alarms and the chime still run every second.
    void autoModeOffStillScansAlarmsAndChime()
    {
        TestClock clock(Start);
        Recorder recorder;
        AutoModeSchedule schedule;
        SecondDispatcher dispatcher({&recorder, &recorder, &recorder, &recorder, &schedule, [] { return 1; }});
        for (int i = 0; i < 120; ++i) {
            dispatcher.tick();
            clock.advanceSeconds(1);
        }
        QCOMPARE(recorder.changes, 0);
        QCOMPARE(recorder.scans, 120);
        QCOMPARE(recorder.chimeChecks, 120);
        recorder.aboutOpen = true;
        dispatcher.tick();
        QCOMPARE(recorder.scans, 120);
        QCOMPARE(recorder.chimeChecks, 121);
    }

    void autoModeChangesOnTheInterval()
    {
        TestClock clock(Start);
        Recorder recorder;
        AutoModeSchedule schedule;
        SecondDispatcher dispatcher({&recorder, &recorder, &recorder, &recorder, &schedule, [] { return 2; }});
        schedule.turn(true, clock.now(), 2);
        clock.advanceSeconds(119);
        dispatcher.tick();
        QCOMPARE(recorder.changes, 0);
        clock.advanceSeconds(1);
        dispatcher.tick();
        QCOMPARE(recorder.changes, 1);
        QCOMPARE(schedule.nextChange(), clock.now().addSecs(120));
        QCOMPARE(recorder.tip, QStringLiteral("Tapisol a.jpg #2120")); // no texts loaded in this test
    }

    // Suspend and resume, or a clock put forward: one change at once, not one per missed interval.
    void clockJumpForwardChangesOnce()
    {
        TestClock clock(Start);
        Recorder recorder;
        AutoModeSchedule schedule;
        SecondDispatcher dispatcher({&recorder, &recorder, &recorder, &recorder, &schedule, [] { return 5; }});
        schedule.turn(true, clock.now(), 5);
        clock.advanceDays(2);
        for (int i = 0; i < 10; ++i) {
            dispatcher.tick();
            clock.advanceSeconds(1);
        }
        QCOMPARE(recorder.changes, 1);
        QCOMPARE(schedule.secondsLeft(clock.now()), 5 * 60 - 10);
    }

    void clockSetBackNeverPostponesPastOneInterval()
    {
        TestClock clock(Start);
        Recorder recorder;
        AutoModeSchedule schedule;
        SecondDispatcher dispatcher({&recorder, &recorder, &recorder, &recorder, &schedule, [] { return 5; }});
        schedule.turn(true, clock.now(), 5);
        clock.advanceDays(-1);
        dispatcher.tick();
        QCOMPARE(schedule.secondsLeft(clock.now()), 5 * 60);
        clock.advanceSeconds(5 * 60);
        dispatcher.tick();
        QCOMPARE(recorder.changes, 1);
    }
};

QTEST_GUILESS_MAIN(TestTrayLogic)
#include "tst_traylogic.moc"
