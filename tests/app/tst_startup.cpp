#include "AppState.h"
#include "ClsRegistry.h"
#include "FrmSysTray.h"
#include "FrmTrace.h"
#include "SingleInstance.h"
#include "Startup.h"
#include "TempXdgHome.h"
#include "Trace.h"
#include "UnloadAll.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QListWidget>
#include <QtConcurrent>
#include <QtTest>

namespace {

// A form that says no, as a dialog with unsaved changes would.
class StubbornForm : public QWidget
{
public:
    StubbornForm() { setObjectName(QStringLiteral("FrmStubborn")); }

protected:
    void closeEvent(QCloseEvent* event) override { event->ignore(); }
};

QString readLog()
{
    QFile log(Trace::logFilePath());
    return log.open(QIODevice::ReadOnly) ? QString::fromUtf8(log.readAll()) : QString();
}

} // namespace

class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        appState() = AppState();
        Trace::resetForTests();
    }

    void languageAndHelpFallbacks()
    {
        QCOMPARE(Startup::settleLanguage(QStringLiteral("   ")), QStringLiteral("FRA"));
        QCOMPARE(Startup::settleLanguage(QStringLiteral(" eng ")), QStringLiteral("ENG"));
        QCOMPARE(Startup::settleLanguage(QStringLiteral("XYZ")), QStringLiteral("FRA"));
        QVERIFY(Startup::helpFileFor(QStringLiteral("ENG")).endsWith(QStringLiteral("help/ENG/index.html")));
        QVERIFY(Startup::helpFileFor(QStringLiteral("DEU")).endsWith(QStringLiteral("help/FRA/index.html")));
        QVERIFY(QFile::exists(Startup::helpFileFor(QStringLiteral("FRA"))));
    }

    void traceWindowShowsNewestLine()
    {
        FrmTrace window;
        for (int i = 0; i < 50; ++i)
            window.appendLine(QStringLiteral("line %1").arg(i));
        auto* list = window.findChild<QListWidget*>();
        QCOMPARE(list->count(), 50);
        QCOMPARE(list->currentRow(), 49);
        QCOMPARE(list->currentItem()->text(), QStringLiteral("line 49"));
    }

    void unloadAllSparesTheShellForms()
    {
        TempXdgHome home;
        appState().trace = true;
        appState().silent = true;
        QPointer<QWidget> notes = new QWidget;
        notes->setObjectName(QStringLiteral("FrmNotes"));
        QPointer<QWidget> trace = new QWidget;
        trace->setObjectName(QStringLiteral("FrmTrace"));
        QPointer<QWidget> tray = new QWidget;
        tray->setObjectName(QStringLiteral("FrmSysTray"));
        StubbornForm stubborn;
        for (QWidget* w : {notes.data(), trace.data(), tray.data(), static_cast<QWidget*>(&stubborn)})
            w->show();

        unloadAllForms();
        QTRY_VERIFY(notes.isNull());
        QVERIFY(!trace.isNull() && trace->isVisible());
        QVERIFY(!tray.isNull() && tray->isVisible());

        const QString log = readLog();
        QCOMPARE(log.count(QStringLiteral("M1 Unload 4, Frm=")), 4);
        QVERIFY(log.contains(QStringLiteral("M1 Unload Impossible de décharger FrmStubborn")));
        delete trace;
        delete tray;
    }

    // Only the Exit command unloads the tray form; any other close is refused and traced.
    void trayFormRefusesAnyCloseButExit()
    {
        TempXdgHome home;
        appState().trace = true;
        appState().silent = true;
        FrmSysTray tray({});
        QSignalSpy unloaded(&tray, &FrmSysTray::unloaded);
        QVERIFY(!tray.close());
        QVERIFY(readLog().contains(QStringLiteral("SY, QueryUnload\r\nSY, Unload Form OnLoad=Faux\r\n"
                                                  "SY, Unload Form 'Not UnloadForm' -> Cancel=True\r\n")));
        QCOMPARE(unloaded.count(), 0);
        tray.exitProgram();
        QCOMPARE(unloaded.count(), 1);
        QVERIFY(readLog().contains(QStringLiteral("SY, Unload UnHook\r\nSY, Unload Registry Write\r\n"
                                                  "SY, Unload Close\r\nSY, Unload Clear\r\n")));
        releaseRegistry();
    }

    void singleInstanceLockAndMessages()
    {
        TempXdgHome home;
        SingleInstance first;
        QCOMPARE(first.claim(), SingleInstance::Claim::Acquired);
        SingleInstance second;
        QCOMPARE(second.claim(), SingleInstance::Claim::AlreadyRunning);

        QStringList received;
        first.setHandler([&received](const QString& name, const QString& argument) {
            received << name + QLatin1Char('=') + argument;
            return argument == QLatin1String("bad") ? QStringLiteral("refused") : QString();
        });
        // The client blocks while waiting, so it runs on another thread and the server answers here.
        QString error;
        auto reply = QtConcurrent::run([&error] {
            QString e;
            const bool ok = SingleInstance::send(QStringLiteral("TAPISOL_COMMAND"), QStringLiteral("2"), &e)
                && !SingleInstance::send(QStringLiteral("TAPISOL_COMMAND"), QStringLiteral("bad"), &e);
            error = e;
            return ok;
        });
        QTRY_VERIFY(reply.isFinished());
        QVERIFY(reply.result());
        QCOMPARE(error, QStringLiteral("refused"));
        QCOMPARE(received, QStringList({QStringLiteral("TAPISOL_COMMAND=2"), QStringLiteral("TAPISOL_COMMAND=bad")}));
    }

    void leftoverLocksDoNotBlock_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("empty lock file") << QByteArray();
        QTest::newRow("garbage") << QByteArray("\x01\x02 not a lock");
        // A process id that cannot be running: what a killed instance leaves.
        QTest::newRow("dead owner") << QByteArray("999999999\ntapisol\n") + QSysInfo::machineHostName().toUtf8() + "\n";
    }

    void leftoverLocksDoNotBlock()
    {
        QFETCH(QByteArray, content);
        TempXdgHome home;
        QFile lock(SingleInstance::lockPath());
        QVERIFY(lock.open(QIODevice::WriteOnly));
        lock.write(content);
        lock.close();
        QFile socketLeftover(SingleInstance::socketPath());
        QVERIFY(socketLeftover.open(QIODevice::WriteOnly)); // a dead instance's socket file
        socketLeftover.close();

        SingleInstance instance;
        QString error;
        QCOMPARE(instance.claim(&error), SingleInstance::Claim::Acquired);
        QVERIFY2(error.isEmpty(), qPrintable(error));
    }

    void noInstanceToTalkTo()
    {
        TempXdgHome home;
        QString error;
        QVERIFY(!SingleInstance::send(QStringLiteral("TAPISOL_COMMAND"), QStringLiteral("17"), &error, 500));
        QCOMPARE(error, QStringLiteral("Tapisol is not running"));
    }
};

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
