#include "AppPaths.h"
#include "AppState.h"
#include "CannedHttpServer.h"
#include "ErrorReport.h"
#include "InterfaceTexts.h"
#include "ReportSender.h"
#include "TempXdgHome.h"
#include "Trace.h"

#include <QFile>
#include <QSignalSpy>
#include <QUrlQuery>
#include <QtTest>

#include <cerrno>
#include <stdexcept>

namespace {

ErrorRecord sampleRecord()
{
    ErrorRecord r;
    r.application = QStringLiteral("Tapisol");
    r.versionMajor = 2;
    r.versionMinor = 7;
    r.versionRevision = 13;
    r.sourceForm = QStringLiteral("FrmSysTray");
    r.control = QStringLiteral("CmdSource");
    r.controlIndex = 3;
    r.value = QStringLiteral("/img/a&b=c été#1.jpg");
    r.number = 53;
    r.description = QStringLiteral("Fichier introuvable");
    r.errorSource = QStringLiteral("Tapisol");
    r.lastDllError = 2;
    r.data = 7;
    return r;
}

} // namespace

class TestErrorReport : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        errorHandler().reset();
        interfaceTexts().parse("2116=Rapport reçu\n2117=Échec : %1\n", QStringLiteral("test"));
    }

    void reportTextHasTenLinesInOrder_data()
    {
        QTest::addColumn<ErrorRecord>("record");
        QTest::addColumn<QString>("expected");
        QTest::newRow("full")
            << sampleRecord()
            << "Application=Tapisol\r\nVersion=2.7.13\r\nSource=FrmSysTray\r\nControl=CmdSource\r\n"
               "Index=3\r\nValue=/img/a&b=c été#1.jpg\r\nNumber=53\r\nDescription=Fichier introuvable\r\n"
               "ErrSource=Tapisol\r\nErrDll=2";
        QTest::newRow("empty values keep their line")
            << ErrorRecord()
            << "Application=\r\nVersion=0.0.0\r\nSource=\r\nControl=\r\nIndex=\r\nValue=\r\nNumber=0\r\n"
               "Description=\r\nErrSource=\r\nErrDll=0";
    }
    void reportTextHasTenLinesInOrder()
    {
        QFETCH(ErrorRecord, record);
        QFETCH(QString, expected);
        QCOMPARE(record.reportText(), expected);
    }

    void messageComposition()
    {
        QCOMPARE(sampleRecord().messageText(),
            QStringLiteral("Erreur d'exécution interceptée : \n\nErreur numéro : 53\n"
                           "Source : FrmSysTrayFichier introuvable"));
    }

    void urlKeepsKeyOrderAndEncodesValues()
    {
        const QUrl url = sampleRecord().reportUrl(QStringLiteral(" https://reports.example:8443/ "));
        QCOMPARE(url.toEncoded(),
            QByteArray("https://reports.example:8443/include/erreurreport.php?data=B7C2D9E4F10&errapp=Tapisol"
                       "&errappversion=2.7.13&errform=FrmSysTray&errcontrol=CmdSource&errctrlindex=3"
                       "&errvaleur=%2Fimg%2Fa%26b%3Dc%20%C3%A9t%C3%A9%231.jpg&errnum=53"
                       "&errdesc=Fichier%20introuvable&errsrc=Tapisol&errlastdll=2&errdata=7"));
        // What the service decodes is exactly the value that was handled.
        QCOMPARE(QUrlQuery(url).queryItemValue(QStringLiteral("errvaleur"), QUrl::FullyDecoded), sampleRecord().value);
        for (const char* host : {"", "reports.example", "ftp://reports.example", "https://reports.example/other"})
            QVERIFY2(!sampleRecord().reportUrl(QString::fromLatin1(host)).isValid(), host);
    }

    void replyCheck_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("inside a page") << QByteArray("<p>Data=D83F1A6C2E5 ok\r\nCSReportReceived</p>") << true;
        QTest::newRow("wrong order") << QByteArray("CSReportReceived Data=D83F1A6C2E5") << false;
        QTest::newRow("other token") << QByteArray("Data=D83F1A6C2E6 CSReportReceived") << false;
        QTest::newRow("no acknowledgement") << QByteArray("Data=D83F1A6C2E5") << false;
    }
    void replyCheck()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, accepted);
        QCOMPARE(ReportService::isAccepted(reply), accepted);
    }

    void senderAgainstLocalServer_data()
    {
        QTest::addColumn<int>("kind"); // 0 answering server, 1 silent server, 2 nothing listening, 3 bad host
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<QString>("status");
        QTest::newRow("accepted") << 0 << QByteArray("Data=D83F1A6C2E5\nCSReportReceived\n") << true << "Rapport reçu";
        QTest::newRow("refused") << 0 << QByteArray("Erreur de données") << false << "Échec : réponse inattendue";
        QTest::newRow("never answers") << 1 << QByteArray() << false << "Échec : pas de réponse";
        QTest::newRow("connection refused") << 2 << QByteArray() << false << "Échec : Connection refused";
        QTest::newRow("bad host") << 3 << QByteArray() << false << "Échec : adresse du service invalide";
    }
    void senderAgainstLocalServer()
    {
        QFETCH(int, kind);
        QFETCH(QByteArray, body);
        QFETCH(bool, accepted);
        QFETCH(QString, status);
        CannedHttpServer server(kind == 1 ? std::nullopt : std::optional<QByteArray>(body));
        const QString hosts[] = {server.host(), server.host(), CannedHttpServer::refusingHost(), "not a host"};
        ReportSender sender(nullptr, 400);
        QSignalSpy finished(&sender, &ReportSender::finished);
        QVERIFY(sender.send(sampleRecord(), hosts[kind]));
        QVERIFY(!sender.send(sampleRecord(), hosts[kind])); // one report at a time
        QVERIFY(finished.wait(5000));
        QCOMPARE(finished.size(), 1);
        QCOMPARE(finished.at(0).at(0).toBool(), accepted);
        QVERIFY2(finished.at(0).at(1).toString().startsWith(status), qPrintable(finished.at(0).at(1).toString()));
        if (kind <= 1)
            QCOMPARE(server.requestLine(),
                "GET " + sampleRecord().reportUrl(hosts[kind]).toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority)
                    + " HTTP/1.1");
    }

    void handlerFillsRecordAndTraces()
    {
        TempXdgHome home;
        Trace::resetForTests();
        appState().trace = true;
        QList<ErrorRecord> shown;
        errorHandler().setDialogPresenter([&](const ErrorRecord& r, const QString&) {
            shown << r;
            return true;
        });
        errno = ENOENT;
        QCOMPARE(reportError(76, QStringLiteral("FrmNotes"), QStringLiteral("TxtNote"), std::nullopt,
                     QStringLiteral("note.txt"), QStringLiteral("Chemin introuvable"), {}, 42),
            ErrorOutcome::Dialog);
        appState().trace = false;
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown[0].reportText(),
            QStringLiteral("Application=%1\r\nVersion=%2\r\nSource=FrmNotes\r\n"
                           "Control=TxtNote\r\nIndex=\r\nValue=note.txt\r\nNumber=76\r\n"
                           "Description=Chemin introuvable\r\nErrSource=%1\r\nErrDll=%3")
                .arg(programTitle(), QStringLiteral(TAPISOL_VERSION_STRING))
                .arg(ENOENT));
        QCOMPARE(shown[0].data, 42);
        QFile log(AppPaths::dataDir() + QStringLiteral("Tapisol.log"));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("*********************** MODSTD ERRSEND ***********************\r\n"));
        Trace::resetForTests();
    }

    void handlerRouting_data()
    {
        QTest::addColumn<bool>("reportOpen");
        QTest::addColumn<bool>("quitting");
        QTest::addColumn<int>("dialog"); // 0 none, 1 shows, 2 refuses, 3 throws
        QTest::addColumn<bool>("message");
        QTest::addColumn<ErrorOutcome>("outcome");
        QTest::newRow("dialog") << false << false << 1 << true << ErrorOutcome::Dialog;
        QTest::newRow("no dialog installed") << false << false << 0 << true << ErrorOutcome::Message;
        QTest::newRow("dialog cannot show") << false << false << 2 << true << ErrorOutcome::Message;
        QTest::newRow("dialog throws") << false << false << 3 << true << ErrorOutcome::Message;
        QTest::newRow("quitting") << false << true << 1 << true << ErrorOutcome::Message;
        QTest::newRow("report already open") << true << false << 1 << true << ErrorOutcome::Traced;
        QTest::newRow("nothing installed") << false << false << 0 << false << ErrorOutcome::Traced;
    }
    void handlerRouting()
    {
        QFETCH(bool, reportOpen);
        QFETCH(bool, quitting);
        QFETCH(int, dialog);
        QFETCH(bool, message);
        QFETCH(ErrorOutcome, outcome);
        QStringList messages;
        if (dialog)
            errorHandler().setDialogPresenter([&](const ErrorRecord&, const QString&) {
                if (dialog == 3)
                    throw std::runtime_error("no window");
                return dialog == 1;
            });
        if (message)
            errorHandler().setMessagePresenter([&](const ErrorRecord&, const QString& text) {
                messages << text;
                // An error raised while the box is up is only traced.
                return reportError(12, QStringLiteral("FrmSysTray")) == ErrorOutcome::Traced;
            });
        errorHandler().setReportOpen(reportOpen);
        errorHandler().setQuitting(quitting);
        QCOMPARE(
            reportError(11, QStringLiteral("FrmAlarme"), {}, {}, {}, QStringLiteral("Division par zéro")), outcome);
        QCOMPARE(messages.size(), outcome == ErrorOutcome::Message ? 1 : 0);
        if (!messages.isEmpty())
            QCOMPARE(messages[0],
                QStringLiteral("Erreur d'exécution interceptée : \n\nErreur numéro : 11\n"
                               "Source : FrmAlarmeDivision par zéro"));
    }
};

QTEST_MAIN(TestErrorReport)
#include "tst_errorreport.moc"
