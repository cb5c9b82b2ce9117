#include "AppState.h"
#include "TempXdgHome.h"
#include "Trace.h"

#include <QFile>
#include <QtTest>

class TestSwitchesTrace : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        appState() = AppState();
        Trace::resetForTests();
    }

    void switches_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("trace");
        QTest::addColumn<bool>("silent");
        QTest::addColumn<bool>("start");
        QTest::newRow("mixed capitals") << "/SILENT /Trace" << true << true << false;
        QTest::newRow("start alone") << "/start" << false << false << true;
        QTest::newRow("glued to other text") << "x/TRACEy--/startz" << true << false << true;
        QTest::newRow("repeated") << "/silent /silent" << false << true << false;
        QTest::newRow("no slash") << "trace silent start" << false << false << false;
    }

    void switches()
    {
        QFETCH(QString, line);
        QFETCH(bool, trace);
        QFETCH(bool, silent);
        QFETCH(bool, start);
        AppState state;
        parseSwitches(line, state);
        QCOMPARE(state.trace, trace);
        QCOMPARE(state.silent, silent);
        QCOMPARE(state.start, start);
    }

    void lineFormatAndSessions()
    {
        TempXdgHome home;
        appState().trace = true;
        appState().silent = true;
        Trace::write(QStringLiteral("M1 Start /trace"));
        Trace::write(QStringLiteral("SY TurnTimer 1 été"));
        Trace::resetForTests(); // a second session appends to the same file
        Trace::write(QStringLiteral("M1 Start"));

        QFile log(home.tapisolDataDir() + QStringLiteral("Tapisol.log"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QCOMPARE(log.readAll(), QByteArray("M1 Start /trace\r\nSY TurnTimer 1 \xc3\xa9t\xc3\xa9\r\nM1 Start\r\n"));
    }

    void nothingWithoutTraceSwitch()
    {
        TempXdgHome home;
        int built = 0;
        auto line = [&built] {
            ++built;
            return QStringLiteral("never");
        };
        TAPISOL_TRACE(line());
        QCOMPARE(built, 0);
        QVERIFY(!QFile::exists(home.tapisolDataDir() + QStringLiteral("Tapisol.log")));
    }

    void writerSwallowsErrors()
    {
        TempXdgHome home;
        appState().trace = true;
        appState().silent = true;
        // A folder where the log should be: the open fails, the caller never hears of it.
        QVERIFY(QDir().mkpath(home.tapisolDataDir() + QStringLiteral("Tapisol.log")));
        Trace::write(QStringLiteral("lost"));
        QVERIFY(QFileInfo(home.tapisolDataDir() + QStringLiteral("Tapisol.log")).isDir());
    }

    void silentNeverAsksForWindow()
    {
        TempXdgHome home;
        appState().trace = true;
        appState().silent = true;
        int created = 0;
        Trace::setViewFactory([&created]() -> TraceView* {
            ++created;
            return nullptr;
        });
        Trace::write(QStringLiteral("file only"));
        QCOMPARE(created, 0);
        appState().silent = false;
        Trace::write(QStringLiteral("now with a window"));
        Trace::write(QStringLiteral("asked once"));
        QCOMPARE(created, 1);
    }
};

QTEST_GUILESS_MAIN(TestSwitchesTrace)
#include "tst_switches_trace.moc"
