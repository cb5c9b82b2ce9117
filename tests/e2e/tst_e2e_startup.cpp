#include "E2eSession.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

#include <csignal>

// The real program under a real X server: start-up, the trace log, the single instance,
// `--command`, and the orderly end on Exit and on SIGTERM.
class TestE2eStartup : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<E2eSession> s;

private slots:
    void init() { s = std::make_unique<E2eSession>(); }
    void cleanup() { s.reset(); }

    void traceSessionAndExitCommand()
    {
        {
            QSettings settings = s->configFile();
            settings.setValue(QStringLiteral("Paramètres/OnHelpDir"), QStringLiteral("/old/help"));
            settings.setValue(QStringLiteral("Paramètres/InstallDir"), QStringLiteral("/somewhere/else"));
        }
        QProcess* tapisol = s->start({QStringLiteral("/TRACE")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End")));
        // The trace window is a real window on the display.
        QVERIFY(!E2eSession::run(QStringLiteral("xdotool"),
            {QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--name"),
                QStringLiteral("Tapisol - Trace")})
                     .isEmpty());

        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("5")}), 0);
        QVERIFY(s->waitForLog(QStringLiteral("Sy ActionMenu 5")));
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(tapisol->waitForFinished(15000));
        QCOMPARE(tapisol->exitCode(), 0);

        QString missing;
        QVERIFY2(
            E2eSession::inOrder(s->logLines(),
                {QString(), QStringLiteral("*-----------------------------------------*"),
                    QStringLiteral("New session started at : "),
                    QStringLiteral("*-----------------------------------------*"), QStringLiteral("M1 Start /trace"),
                    QStringLiteral("M1 Sound Card Test"), QStringLiteral("M1 Init DataBases MdbName="),
                    QStringLiteral("ClsMdb End MdbInit, Ok"), QStringLiteral("M1 Load Systray Form"),
                    QStringLiteral("SY, Begin"), QStringLiteral("SY Load, End"), QStringLiteral("Sy ActionMenu 5"),
                    QStringLiteral("Sy ActionMenu 17"), QStringLiteral("SY, QueryUnload"),
                    QStringLiteral("SY, Unload Form OnLoad=Vrai"), QStringLiteral("SY, Unload UnHook"),
                    QStringLiteral("SY, Unload Registry Write"), QStringLiteral("SY, Unload Close"),
                    QStringLiteral("ClsMdb Terminate compact Database"), QStringLiteral("ClsMdb End Terminate, Ok"),
                    QStringLiteral("SY, Unload Clear"), QStringLiteral("M1 Unload 2, Frm="),
                    QStringLiteral("M1 Unload 2, Frm="), QStringLiteral("FP Unload Trace, Frm=FrmTrace")},
                &missing),
            qPrintable(QStringLiteral("missing or out of order: ") + missing));
        QVERIFY(s->log().endsWith(QStringLiteral("FP Unload Trace, Frm=FrmTrace\r\n")));

        QSettings settings = s->configFile();
        QVERIFY(!settings.contains(QStringLiteral("Paramètres/OnHelpDir")));
        QCOMPARE(settings.value(QStringLiteral("Paramètres/InstallDir")).toString(),
            QFileInfo(QStringLiteral(TAPISOL_PROGRAM)).absolutePath());
    }

    void secondInstanceIsRefused()
    {
        QProcess* first = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End")));
        QProcess* second = s->start({});
        // The refusal is a message box titled with the program's name; nothing else opens.
        const QString box = E2eSession::run(QStringLiteral("xdotool"),
            {QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--onlyvisible"),
                QStringLiteral("--name"), QStringLiteral("^Tapisol$")});
        QVERIFY(!box.isEmpty());
        E2eSession::run(QStringLiteral("xdotool"),
            {QStringLiteral("key"), QStringLiteral("--window"), box.section(QLatin1Char('\n'), 0, 0),
                QStringLiteral("Return")});
        QVERIFY(second->waitForFinished(15000));
        QCOMPARE(second->exitCode(), 1);
        // The refused launch never reached the database or the tray.
        QCOMPARE(s->log().count(QStringLiteral("M1 Init DataBases")), 1);
        QCOMPARE(s->log().count(QStringLiteral("M1 Load Systray Form")), 1);
        QCOMPARE(first->state(), QProcess::Running);
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(first->waitForFinished(15000));
    }

    // SIGTERM, even in the middle of start-up, takes the same road as the Exit command.
    void sigtermEndsInOrder_data()
    {
        QTest::addColumn<QString>("sentAfter");
        QTest::newRow("during start-up") << QStringLiteral("M1 Start");
        QTest::newRow("once running") << QStringLiteral("SY Load, End");
    }

    void sigtermEndsInOrder()
    {
        QFETCH(QString, sentAfter);
        QProcess* tapisol = s->start({QStringLiteral("/trace")});
        QVERIFY(s->waitForLog(sentAfter));
        ::kill(pid_t(tapisol->processId()), SIGTERM);
        QVERIFY(tapisol->waitForFinished(15000));
        QCOMPARE(tapisol->exitStatus(), QProcess::NormalExit);
        QCOMPARE(tapisol->exitCode(), 0);
        QString missing;
        QVERIFY2(E2eSession::inOrder(s->logLines(),
                     {QStringLiteral("M1 Signal 15"), QStringLiteral("SY, Unload Registry Write"),
                         QStringLiteral("SY, Unload Close"), QStringLiteral("ClsMdb End Terminate, Ok"),
                         QStringLiteral("FP Unload Trace")},
                     &missing),
            qPrintable(missing));
    }

    // A database beyond repair, with no healthy copy: the user is told, and the program ends
    // without a tray icon; the damaged file is kept as it was.
    void unusableDatabaseEndsTheStart()
    {
        QDir().mkpath(s->home().tapisolDataDir());
        QFile junk(s->home().tapisolDataDir() + QStringLiteral("Tapisol.mdb"));
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write(QByteArray(8192, 'x'));
        junk.close();
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        // Every message box of the start (damaged, then no good copy) is answered.
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                E2eSession::run(QStringLiteral("xdotool"),
                    {QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                        QStringLiteral("^Tapisol$"), QStringLiteral("key"), QStringLiteral("Return")});
                return tapisol->state() == QProcess::NotRunning;
            }(),
            15000);
        QVERIFY(s->log().contains(QStringLiteral("ClsMdb Message 246 : ")));
        QVERIFY(s->log().contains(QStringLiteral("ClsMdb Message 2221 : ")));
        QCOMPARE(tapisol->exitCode(), 1);
        QVERIFY(s->log().contains(QStringLiteral("M1 Init DataBases MdbName=")));
        QVERIFY(!s->log().contains(QStringLiteral("M1 Load Systray Form")));
        QVERIFY(QFile::exists(s->home().tapisolDataDir() + QStringLiteral("Tapisol.mdb.ERR")));
    }

    void killedInstanceDoesNotBlockTheNext()
    {
        QProcess* first = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End")));
        first->kill();
        QVERIFY(first->waitForFinished(5000));
        QProcess* next = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End"), 2));
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(next->waitForFinished(15000));
    }

    void noTraceNoLogFile()
    {
        QProcess* tapisol = s->start({QStringLiteral("/silent")});
        QTRY_COMPARE_WITH_TIMEOUT(s->client({QStringLiteral("--command"), QStringLiteral("9")}), 0, 15000);
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(tapisol->waitForFinished(15000));
        QVERIFY(!QFile::exists(s->logPath()));
    }

    void terminalClient()
    {
        QString output;
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("3")}, &output), 1);
        QVERIFY(output.contains(QStringLiteral("not running")));
        QCOMPARE(s->client({QStringLiteral("--command"), QStringLiteral("18")}, &output), 1);
        QVERIFY(output.contains(QStringLiteral("18")));
        QCOMPARE(s->client({QStringLiteral("--command")}, &output), 1);
        QCOMPARE(s->client({QStringLiteral("--version")}, &output), 0);
        QVERIFY(output.startsWith(QStringLiteral("tapisol ")));

        QCOMPARE(s->client({QStringLiteral("--help")}, &output), 0);
        QVERIFY(output.contains(QStringLiteral("envoie la commande N")));
        s->configFile().setValue(QStringLiteral("Paramètres/Langue"), QStringLiteral("ENG"));
        QCOMPARE(s->client({QStringLiteral("--help")}, &output), 0);
        QVERIFY(output.contains(QStringLiteral("hand command N")));
    }
};

QTEST_GUILESS_MAIN(TestE2eStartup)
#include "tst_e2e_startup.moc"
