#include "E2eSession.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

#include <csignal>

// The real program under a real X server: start-up, the trace log, the single instance,
// `--command`, and the orderly end on Exit and on SIGTERM.
class TestE2eStartup : public E2eTest
{
    Q_OBJECT

    static bool waitForWindow(const QString& pattern)
    {
        return !E2eSession::run(QStringLiteral("timeout 30 xdotool search --sync --onlyvisible --name"), {pattern})
                    .trimmed()
                    .isEmpty();
    }

    // SIGTERM to a process that waits on a message box: it must be gone within a second.
    static bool endsWithinASecond(QProcess* process)
    {
        ::kill(pid_t(process->processId()), SIGTERM);
        return process->waitForFinished(1000) && process->exitStatus() == QProcess::NormalExit;
    }

private slots:
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
        QVERIFY(!E2eSession::run(QStringLiteral("xdotool search --sync --name"), {QStringLiteral("Tapisol - Trace")})
                     .isEmpty());
        QVERIFY(s->command(5));
        QVERIFY(s->waitForLog(QStringLiteral("Sy ActionMenu 5")));
        QVERIFY(s->exit(tapisol));
        QCOMPARE(tapisol->exitCode(), 0);

        QString missing;
        QVERIFY2(s->logInOrder(QStringLiteral("|*-----------------------------------------*|New session started at : |"
                                              "*-----------------------------------------*|M1 Start /trace|"
                                              "M1 Sound Card Test|M1 Init DataBases MdbName=|ClsMdb End MdbInit, Ok|"
                                              "M1 Load Systray Form|SY, Begin|SY Load, End|Sy ActionMenu 5|"
                                              "Sy ActionMenu 17|SY, QueryUnload|SY, Unload Form OnLoad=Vrai|"
                                              "SY, Unload UnHook|SY, Unload Registry Write|SY, Unload Close|"
                                              "ClsMdb Terminate compact Database|ClsMdb End Terminate, Ok|"
                                              "SY, Unload Clear|M1 Unload 2, Frm=|M1 Unload 2, Frm=|"
                                              "FP Unload Trace, Frm=FrmTrace"),
                     &missing),
            qPrintable(QStringLiteral("missing or out of order: ") + missing));
        QVERIFY(s->log().endsWith(QStringLiteral("FP Unload Trace, Frm=FrmTrace\r\n")));

        QSettings settings = s->configFile();
        QVERIFY(!settings.contains(QStringLiteral("Paramètres/OnHelpDir")));
        QCOMPARE(settings.value(QStringLiteral("Paramètres/InstallDir")).toString(),
            QFileInfo(QStringLiteral(TAPISOL_PROGRAM)).absolutePath());
    }

    // A second launch is refused while an instance runs, and its message box gives way to
    // SIGTERM at once; one killed outright blocks no one.
    void secondInstanceIsRefused()
    {
        QProcess* first = s->startLoaded();
        QVERIFY(first);
        QProcess* second = s->start({});
        // The refusal is a message box titled with the program's name; nothing else opens.
        QVERIFY(waitForWindow(QStringLiteral("^Tapisol$")));
        QVERIFY(endsWithinASecond(second));
        QCOMPARE(second->exitCode(), 1);
        // The refused launch never reached the database or the tray.
        QCOMPARE(s->log().count(QStringLiteral("M1 Init DataBases")), 1);
        QCOMPARE(s->log().count(QStringLiteral("M1 Load Systray Form")), 1);
        QCOMPARE(first->state(), QProcess::Running);

        first->kill();
        QVERIFY(first->waitForFinished(5000));
        QProcess* next = s->startLoaded();
        QVERIFY(next);
        QVERIFY(s->exit(next));
    }

    // An exception in a start-up step, or in the tray form's load, is reported like one in the
    // event loop: the report dialog opens, and once it is closed the program runs.
    void faultDuringStartIsReported_data()
    {
        QTest::addColumn<QString>("step");
        QTest::newRow("language") << QStringLiteral("4 Langue");
        QTest::newRow("tray form") << QStringLiteral("14 Systray");
    }

    void faultDuringStartIsReported()
    {
        QFETCH(QString, step);
        qputenv("TAPISOL_FAULT_AT", step.toUtf8());
        QProcess* tapisol = s->start({QStringLiteral("/trace")});
        qunsetenv("TAPISOL_FAULT_AT");
        QVERIFY(waitForWindow(QStringLiteral("Rapport d.erreur")));
        QVERIFY(s->log().contains(QStringLiteral("MODSTD ERRSEND")));
        const QString report = E2eSession::run(
            QStringLiteral("xdotool search --onlyvisible --name"), {QStringLiteral("Rapport d.erreur")});
        E2eSession::pressKeyIn(report.section(QLatin1Char('\n'), 0, 0), QStringLiteral("Escape"));
        QVERIFY(s->waitForLog(QStringLiteral("SY Load, End")));
        QVERIFY(s->command(9));
        QVERIFY(s->exit(tapisol));
        QCOMPARE(tapisol->exitCode(), 0);
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
        QVERIFY2(s->logInOrder(QStringLiteral("M1 Signal 15|SY, Unload Registry Write|SY, Unload Close|"
                                              "ClsMdb End Terminate, Ok|FP Unload Trace"),
                     &missing),
            qPrintable(missing));
    }

    // A database beyond repair, with no healthy copy: the user is told, the real opening fails,
    // the file is kept as ".mdb.bad" and the program ends without a tray icon. Its last message
    // box gives way to SIGTERM at once.
    void unusableDatabaseEndsTheStart()
    {
        QDir().mkpath(s->home().tapisolDataDir());
        const QString file = s->home().tapisolDataDir() + QStringLiteral("Tapisol.mdb");
        QFile junk(file);
        QVERIFY(junk.open(QIODevice::WriteOnly) && junk.write(QByteArray(8192, 'x')) == 8192);
        junk.close();
        QProcess* tapisol = s->start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(s->waitForLog(QStringLiteral("ClsMdb Message 246 : ")));
        QVERIFY(E2eSession::pressReturnIn(QStringLiteral("^Tapisol$")));
        QVERIFY(s->waitForLog(QStringLiteral("ClsMdb Message 2222 : ")));
        QVERIFY(waitForWindow(QStringLiteral("^Tapisol$")));
        QVERIFY(endsWithinASecond(tapisol));
        QCOMPARE(tapisol->exitCode(), 1);
        QVERIFY(!s->log().contains(QStringLiteral("M1 Load Systray Form")));
        for (const QString& kept : {file, file + QStringLiteral(".ERR"), file + QStringLiteral(".bad")})
            QCOMPARE(QFileInfo(kept).size(), 8192);
    }

    void noTraceNoLogFile()
    {
        QProcess* tapisol = s->start({QStringLiteral("/silent")});
        QTRY_VERIFY_WITH_TIMEOUT(s->command(9), 15000);
        QVERIFY(s->exit(tapisol));
        QVERIFY(!QFile::exists(s->logPath()));
    }

    void terminalClient()
    {
        const auto output = [this](const QString& arguments, int exitCode) {
            QString text;
            const int code = s->client(arguments.split(QLatin1Char(' ')), &text);
            return code == exitCode ? text : QString(); // nothing matches on a wrong exit code
        };
        QVERIFY(output(QStringLiteral("--command 3"), 1).contains(QStringLiteral("not running")));
        QVERIFY(output(QStringLiteral("--command 18"), 1).contains(QStringLiteral("18")));
        QCOMPARE(s->client({QStringLiteral("--command")}), 1);
        QVERIFY(output(QStringLiteral("--version"), 0).startsWith(QStringLiteral("tapisol ")));
        QVERIFY(output(QStringLiteral("--help"), 0).contains(QStringLiteral("envoie la commande N")));
        s->configFile().setValue(QStringLiteral("Paramètres/Langue"), QStringLiteral("ENG"));
        QVERIFY(output(QStringLiteral("--help"), 0).contains(QStringLiteral("hand command N")));
    }
};

QTEST_GUILESS_MAIN(TestE2eStartup)
#include "tst_e2e_startup.moc"
