#include "TempXdgHome.h"

#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QtTest>

#include <csignal>

// The real program under a real X server: start-up, the trace log, the single instance,
// `--command`, and the orderly end on Exit and on SIGTERM.
class TestE2eStartup : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TempXdgHome> m_home;
    QList<QProcess*> m_started;

    QString logPath() const { return m_home->tapisolDataDir() + QStringLiteral("Tapisol.log"); }

    QString log() const
    {
        QFile file(logPath());
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    QProcess* start(const QStringList& arguments)
    {
        auto* process = new QProcess(this);
        process->setProgram(QStringLiteral(TAPISOL_PROGRAM));
        process->setArguments(arguments);
        process->start();
        m_started << process;
        return process;
    }

    // Runs the program as a terminal client and returns its exit code.
    int client(const QStringList& arguments, QString* output = nullptr)
    {
        QProcess process;
        process.setProgram(QStringLiteral(TAPISOL_PROGRAM));
        process.setArguments(arguments);
        process.start();
        process.waitForFinished(15000);
        if (output)
            *output = QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    bool waitForLog(const QString& text, int timeoutMs = 15000)
    {
        QDeadlineTimer deadline(timeoutMs);
        while (!deadline.hasExpired()) {
            if (log().contains(text))
                return true;
            QTest::qWait(50);
        }
        return false;
    }

    static QString xdotool(const QStringList& arguments)
    {
        QProcess process;
        process.start(QStringLiteral("xdotool"), arguments);
        process.waitForFinished(15000);
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }

    QSettings configFile() const
    {
        return QSettings(m_home->configHome() + QStringLiteral("/Orvenne/Tapisol.conf"), QSettings::IniFormat);
    }

private slots:
    void init() { m_home = std::make_unique<TempXdgHome>(); }

    void cleanup()
    {
        for (QProcess* process : std::as_const(m_started)) {
            if (process->state() != QProcess::NotRunning) {
                process->kill();
                process->waitForFinished(5000);
            }
        }
        qDeleteAll(m_started);
        m_started.clear();
        m_home.reset();
    }

    void traceSessionAndExitCommand()
    {
        {
            QSettings settings = configFile();
            settings.setValue(QStringLiteral("Paramètres/OnHelpDir"), QStringLiteral("/old/help"));
            settings.setValue(QStringLiteral("Paramètres/InstallDir"), QStringLiteral("/somewhere/else"));
        }
        QProcess* tapisol = start({QStringLiteral("/TRACE")});
        QVERIFY(waitForLog(QStringLiteral("M1 Load Systray Form")));
        // The trace window is a real window on the display.
        QVERIFY(!xdotool({QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--name"),
                             QStringLiteral("Tapisol - Trace")})
                     .isEmpty());

        QCOMPARE(client({QStringLiteral("--command"), QStringLiteral("5")}), 0);
        QVERIFY(waitForLog(QStringLiteral("Sy ActionMenu 5")));
        QCOMPARE(client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(tapisol->waitForFinished(15000));
        QCOMPARE(tapisol->exitCode(), 0);

        const QStringList lines = log().split(QStringLiteral("\r\n"));
        const QStringList expected = {QString(), QStringLiteral("*-----------------------------------------*"),
            QStringLiteral("New session started at : "), QStringLiteral("*-----------------------------------------*"),
            QStringLiteral("M1 Start /trace"), QStringLiteral("M1 Sound Card Test"),
            QStringLiteral("M1 Load Systray Form"), QStringLiteral("Sy ActionMenu 5"),
            QStringLiteral("Sy ActionMenu 17"), QStringLiteral("M1 Unload 1, Frm=FrmTrace"),
            QStringLiteral("FP Unload Trace, Frm=FrmTrace")};
        qsizetype at = 0;
        for (const QString& line : expected) {
            while (at < lines.size() && !(line.isEmpty() ? lines[at].isEmpty() : lines[at].startsWith(line)))
                ++at;
            QVERIFY2(at < lines.size(), qPrintable(QStringLiteral("missing or out of order: ") + line));
            ++at;
        }
        QSettings settings = configFile();
        QVERIFY(!settings.contains(QStringLiteral("Paramètres/OnHelpDir")));
        QCOMPARE(settings.value(QStringLiteral("Paramètres/InstallDir")).toString(),
            QFileInfo(QStringLiteral(TAPISOL_PROGRAM)).absolutePath());
    }

    void secondInstanceIsRefused()
    {
        QProcess* first = start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(waitForLog(QStringLiteral("M1 Load Systray Form")));
        QProcess* second = start({});
        // The refusal is a message box titled with the program's name; nothing else opens.
        const QString box = xdotool({QStringLiteral("search"), QStringLiteral("--sync"),
            QStringLiteral("--onlyvisible"), QStringLiteral("--name"), QStringLiteral("^Tapisol$")});
        QVERIFY(!box.isEmpty());
        xdotool({QStringLiteral("key"), QStringLiteral("--window"), box.section(QLatin1Char('\n'), 0, 0),
            QStringLiteral("Return")});
        QVERIFY(second->waitForFinished(15000));
        QCOMPARE(second->exitCode(), 1);
        QCOMPARE(log().count(QStringLiteral("M1 Load Systray Form")), 1);
        QCOMPARE(first->state(), QProcess::Running);
        QCOMPARE(client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(first->waitForFinished(15000));
    }

    void sigtermEndsInOrder()
    {
        QProcess* tapisol = start({QStringLiteral("/trace")});
        QVERIFY(waitForLog(QStringLiteral("M1 Load Systray Form")));
        ::kill(pid_t(tapisol->processId()), SIGTERM);
        QVERIFY(tapisol->waitForFinished(15000));
        QCOMPARE(tapisol->exitStatus(), QProcess::NormalExit);
        QCOMPARE(tapisol->exitCode(), 0);
        const QString text = log();
        QVERIFY(text.indexOf(QStringLiteral("M1 Signal 15")) < text.indexOf(QStringLiteral("FP Unload Trace")));
    }

    void killedInstanceDoesNotBlockTheNext()
    {
        QProcess* first = start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QVERIFY(waitForLog(QStringLiteral("M1 Load Systray Form")));
        first->kill();
        QVERIFY(first->waitForFinished(5000));
        QProcess* next = start({QStringLiteral("/trace"), QStringLiteral("/silent")});
        QTRY_COMPARE_WITH_TIMEOUT(log().count(QStringLiteral("M1 Load Systray Form")), 2, 15000);
        QCOMPARE(client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(next->waitForFinished(15000));
    }

    void noTraceNoLogFile()
    {
        QProcess* tapisol = start({QStringLiteral("/silent")});
        QTRY_COMPARE_WITH_TIMEOUT(client({QStringLiteral("--command"), QStringLiteral("9")}), 0, 15000);
        QCOMPARE(client({QStringLiteral("--command"), QStringLiteral("17")}), 0);
        QVERIFY(tapisol->waitForFinished(15000));
        QVERIFY(!QFile::exists(logPath()));
    }

    void terminalClient()
    {
        QString output;
        QCOMPARE(client({QStringLiteral("--command"), QStringLiteral("3")}, &output), 1);
        QVERIFY(output.contains(QStringLiteral("not running")));
        QCOMPARE(client({QStringLiteral("--command"), QStringLiteral("18")}, &output), 1);
        QVERIFY(output.contains(QStringLiteral("18")));
        QCOMPARE(client({QStringLiteral("--command")}, &output), 1);
        QCOMPARE(client({QStringLiteral("--version")}, &output), 0);
        QVERIFY(output.startsWith(QStringLiteral("tapisol ")));

        QCOMPARE(client({QStringLiteral("--help")}, &output), 0);
        QVERIFY(output.contains(QStringLiteral("envoie la commande N")));
        configFile().setValue(QStringLiteral("Paramètres/Langue"), QStringLiteral("ENG"));
        QCOMPARE(client({QStringLiteral("--help")}, &output), 0);
        QVERIFY(output.contains(QStringLiteral("hand command N")));
    }
};

QTEST_GUILESS_MAIN(TestE2eStartup)
#include "tst_e2e_startup.moc"
