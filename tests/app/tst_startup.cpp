#include "AppState.h"
#include "ClsRegistry.h"
#include "FrmSysTray.h"
#include "FrmTrace.h"
#include "InterfaceTexts.h"
#include "SingleInstance.h"
#include "Startup.h"
#include "TempXdgHome.h"
#include "Trace.h"
#include "UnloadAll.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QListWidget>
#include <QScopeGuard>
#include <QTemporaryDir>
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

void traceToFile()
{
    appState().trace = true;
    appState().silent = true;
}

} // namespace

// What the program does before and around its tray: command-line switches, the trace log, the
// interface texts, the single instance and the unloading of its forms.
class TestStartup : public QObject
{
    Q_OBJECT

    std::unique_ptr<TempXdgHome> m_home;

private slots:
    void init()
    {
        m_home = std::make_unique<TempXdgHome>();
        appState() = AppState();
        Trace::resetForTests();
    }
    void cleanup()
    {
        appState() = AppState();
        Trace::resetForTests();
        m_home.reset();
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

    // Without /trace no line is even built. With it: UTF-8 lines ending in CR LF, each session
    // appending, and a log that cannot be written is never the caller's problem.
    void logFile()
    {
        int built = 0;
        TAPISOL_TRACE(QString::number(++built));
        QCOMPARE(built, 0);
        const QString path = m_home->tapisolDataDir() + QStringLiteral("Tapisol.log");
        QVERIFY(!QFile::exists(path));

        traceToFile();
        Trace::write(QStringLiteral("M1 Start /trace"));
        Trace::write(QStringLiteral("SY TurnTimer 1 été"));
        Trace::resetForTests();
        Trace::write(QStringLiteral("M1 Start"));
        QFile log(path);
        QVERIFY(log.open(QIODevice::ReadOnly));
        QCOMPARE(log.readAll(), QByteArray("M1 Start /trace\r\nSY TurnTimer 1 \xc3\xa9t\xc3\xa9\r\nM1 Start\r\n"));

        Trace::resetForTests();
        QVERIFY(QFile::remove(path) && QDir().mkpath(path)); // a folder where the log should be
        Trace::write(QStringLiteral("lost"));
        QVERIFY(QFileInfo(path).isDir());
    }

    void silentNeverAsksForTraceWindow()
    {
        traceToFile();
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

    void traceWindowShowsNewestLine()
    {
        FrmTrace window;
        for (int i = 0; i < 50; ++i)
            window.appendLine(QStringLiteral("line %1").arg(i));
        auto* list = window.findChild<QListWidget*>();
        QCOMPARE(list->count(), 50);
        QCOMPARE(list->currentItem()->text(), QStringLiteral("line 49"));
    }

    // Language files as users and translators leave them: BOMs, CRLF, Latin-1, mistakes.
    void texts_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << QByteArray("311=est déjà lancé\n") << 311 << "est déjà lancé";
        QTest::newRow("bom and crlf") << QByteArray("\xef\xbb\xbf") + "311=a\r\n374=Quitter\r\n" << 374 << "Quitter";
        QTest::newRow("latin-1 bytes") << QByteArray("363=Param\xe8tres\n") << 363 << "Paramètres";
        QTest::newRow("escapes") << QByteArray("246=a\\nb\\tc\\\\d\n") << 246 << "a\nb\tc\\d";
        QTest::newRow("equals inside text") << QByteArray("5=a=b\n") << 5 << "a=b";
        QTest::newRow("first duplicate wins") << QByteArray("7=one\n7=two\n") << 7 << "one";
        QTest::newRow("comments and headers skipped")
            << QByteArray("; 8=no\n# 8=no\n[8=no]\n  \n8=yes\n") << 8 << "yes";
        QTest::newRow("empty text is a text") << QByteArray("9=\n") << 9 << QString();
    }
    void texts()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, number);
        QFETCH(QString, expected);
        InterfaceTexts texts;
        texts.parse(content, QStringLiteral("test"));
        QVERIFY(texts.contains(number));
        QCOMPARE(texts.text(number), expected);
    }

    void badTextLinesAreTracedAndSkipped()
    {
        traceToFile();
        InterfaceTexts texts;
        QCOMPARE(texts.parse("abc=def\n=x\n-3=neg\n12 = ok \nno equals sign\n", QStringLiteral("t.lng")), 1);
        QCOMPARE(texts.text(12), QStringLiteral(" ok "));
        QCOMPARE(texts.text(999), QStringLiteral("#999"));
        const QString traced = readLog();
        QCOMPARE(traced.count(QStringLiteral("t.lng ligne")), 4);
        QVERIFY(traced.contains(QStringLiteral("texte manquant 999")));
    }

    // Every text the program shows exists in both shipped languages, each on a line of its own; a
    // language without a file, or without help pages, falls back to French.
    void shippedLanguages()
    {
        traceToFile();
        InterfaceTexts french;
        InterfaceTexts english;
        QVERIFY(french.load(QStringLiteral("FRA")));
        QVERIFY(english.load(QStringLiteral("eng")));
        // A text broken over two lines loses its second line: every line must be a whole text.
        QVERIFY2(!readLog().contains(QStringLiteral("M1 Langue")), qPrintable(readLog()));
        for (int number : {246, 311, 363, 366, 367, 369, 370, 371, 372, 373, 374, 375, 380, 382, 383, 418, 422, 434,
                 532, 2002, 2026, 2106, 2107, 2111})
            QVERIFY2(french.contains(number) && english.contains(number), qPrintable(QString::number(number)));
        QCOMPARE(french.count(), english.count());
        QVERIFY(french.text(2106).contains(QStringLiteral("%%1")));

        QVERIFY(InterfaceTexts::languageExists(QStringLiteral(" fra ")));
        QCOMPARE(Startup::settleLanguage(QStringLiteral("   ")), QStringLiteral("FRA"));
        QCOMPARE(Startup::settleLanguage(QStringLiteral(" eng ")), QStringLiteral("ENG"));
        QCOMPARE(Startup::settleLanguage(QStringLiteral("XYZ")), QStringLiteral("FRA"));
        QVERIFY(Startup::helpFileFor(QStringLiteral("ENG")).endsWith(QStringLiteral("help/ENG/index.html")));
        QVERIFY(Startup::helpFileFor(QStringLiteral("DEU")).endsWith(QStringLiteral("help/FRA/index.html")));
        QVERIFY(QFile::exists(Startup::helpFileFor(QStringLiteral("FRA"))));
    }

    // A language whose file is there but cannot be read, or holds no text, is no language: French
    // is used, and the texts are French ones, never "#311".
    void unusableLanguageFileFallsBackToFrench_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("no text in it") << QByteArray("; ENG\n[Messages]\nnot a text\n\x00\xff\xfe", 22);
        QTest::newRow("dangling link") << QByteArray("->");
    }

    void unusableLanguageFileFallsBackToFrench()
    {
        QFETCH(QByteArray, content);
        QTemporaryDir data;
        QVERIFY(QDir().mkpath(data.filePath(QStringLiteral("lang"))));
        QVERIFY(QFile::copy(InterfaceTexts::languageFile(QStringLiteral("FRA")), data.filePath("lang/FRA.lng")));
        const QString english = data.filePath(QStringLiteral("lang/ENG.lng"));
        QFile f(english);
        if (content == "->")
            QVERIFY(QFile::link(data.filePath(QStringLiteral("nowhere")), english));
        else
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(content) == content.size());
        f.close();
        qputenv("TAPISOL_DATA_DIR", data.path().toUtf8());
        const auto restore = qScopeGuard([] { qunsetenv("TAPISOL_DATA_DIR"); });
        QVERIFY(!InterfaceTexts::languageExists(QStringLiteral("ENG")));
        QCOMPARE(Startup::settleLanguage(QStringLiteral("ENG")), QStringLiteral("FRA"));
        InterfaceTexts texts;
        QVERIFY(!texts.load(QStringLiteral("ENG")));
        QVERIFY(texts.load(Startup::settleLanguage(QStringLiteral("ENG"))));
        QCOMPARE(texts.text(311), QStringLiteral("est déjà en cours d'exécution."));
    }

    void unloadAllSparesTheShellForms()
    {
        traceToFile();
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
        traceToFile();
        FrmSysTray tray({});
        QSignalSpy unloaded(&tray, &FrmSysTray::unloaded);
        QVERIFY(!tray.close());
        QVERIFY(readLog().contains(QStringLiteral("SY, QueryUnload\r\nSY, Unload Form OnLoad=Faux\r\n"
                                                  "SY, Unload Form 'Not UnloadForm' -> Cancel=True\r\n")));
        QCOMPARE(unloaded.count(), 0);
        tray.exitProgram();
        QCOMPARE(unloaded.count(), 1); // its unload sequence is checked on the real program (e2e)
        releaseRegistry();
    }

    void singleInstanceLockAndMessages()
    {
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
            return SingleInstance::send(QStringLiteral("TAPISOL_COMMAND"), QStringLiteral("2"), &error)
                && !SingleInstance::send(QStringLiteral("TAPISOL_COMMAND"), QStringLiteral("bad"), &error);
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
        QFile lock(SingleInstance::lockPath());
        QVERIFY(lock.open(QIODevice::WriteOnly) && lock.write(content) == content.size());
        lock.close();
        QFile socketLeftover(SingleInstance::socketPath()); // a dead instance's socket file
        QVERIFY(socketLeftover.open(QIODevice::WriteOnly));
        socketLeftover.close();
        SingleInstance instance;
        QString error;
        QCOMPARE(instance.claim(&error), SingleInstance::Claim::Acquired);
        QVERIFY2(error.isEmpty(), qPrintable(error));
    }
};

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
