#include "AppPaths.h"
#include "AppState.h"
#include "ErrorReport.h"
#include "FrmSendRapport.h"
#include "InterfaceTexts.h"
#include "ReportSender.h"
#include "TapisolApplication.h"
#include "TempXdgHome.h"
#include "Trace.h"

#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QUrlQuery>
#include <QtTest>

#include <cerrno>
#include <memory>
#include <stdexcept>

namespace {

const QByteArray kTexts = "2107=Envoyez ce rapport à l'auteur de %%1 (%%1 continue).\n2115=Envoi en cours\n"
                          "2116=Rapport reçu\n2117=Échec : %1\n";

// Application, version, form, control, index, value, number, description, source, errno, extra data.
ErrorRecord sampleRecord()
{
    return {"Tapisol", 2, 7, 13, "FrmSysTray", "CmdSource", 3, "/img/a&b=c été#1.jpg", 53, "Fichier introuvable",
        "Tapisol", 2, 7};
}

// A control whose event handler fails on a user event, the way a buggy handler would.
class Thrower : public QWidget
{
public:
    using QWidget::QWidget;

protected:
    bool event(QEvent* e) override
    {
        if (e->type() == QEvent::User)
            throw std::runtime_error("handler failed");
        if (e->type() == QEvent::User + 1)
            throw 42;
        return QWidget::event(e);
    }
};

} // namespace

class TestErrorReport : public QObject
{
    Q_OBJECT

    std::unique_ptr<TempXdgHome> m_home;
    QList<ErrorRecord> m_shown;

    void captureDialogs()
    {
        errorHandler().setDialogPresenter([this](const ErrorRecord& r, const QString&) {
            m_shown << r;
            return true;
        });
    }

private slots:
    void initTestCase()
    {
        m_home = std::make_unique<TempXdgHome>();
        interfaceTexts().parse(kTexts, QStringLiteral("test"));
    }
    void init()
    {
        errorHandler().reset();
        m_shown.clear();
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

    // The dialog explains with the program's name and shows the report's ten lines on demand.
    void dialogShowsTextsAndReport()
    {
        {
            FrmSendRapport dialog(sampleRecord(), QStringLiteral("http://127.0.0.1:1"));
            dialog.show();
            QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("LblTexte2107"))->text(),
                QStringLiteral("Envoyez ce rapport à l'auteur de %1 (%1 continue).").arg(programTitle()));
            auto* view = dialog.findChild<QPlainTextEdit*>(QStringLiteral("TxtRapport"));
            const int closedHeight = dialog.height();
            dialog.findChild<QPushButton*>(QStringLiteral("CmdVoir"))->click();
            QVERIFY(view->isVisible() && dialog.height() > closedHeight);
            QCOMPARE(view->toPlainText(),
                "Application=Tapisol\nVersion=2.7.13\nSource=FrmSysTray\nControl=CmdSource\nIndex=3\n"
                "Value=/img/a&b=c été#1.jpg\nNumber=53\nDescription=Fichier introuvable\nErrSource=Tapisol\nErrDll=2");
            QVERIFY(errorHandler().reportOpen());
        }
        QVERIFY(!errorHandler().reportOpen());
    }

    void sending_data()
    {
        QTest::addColumn<int>("kind"); // 0 answering server, 1 silent server, 2 nothing listening, 3 bad host
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("status");
        const QString unexpected = QStringLiteral("Échec : réponse inattendue");
        QTest::newRow("accepted") << 0 << QByteArray("Data=D83F1A6C2E5\nCSReportReceived\n") << "Rapport reçu";
        QTest::newRow("inside a page") << 0 << QByteArray("<p>Data=D83F1A6C2E5 ok\r\nCSReportReceived</p>")
                                       << "Rapport reçu";
        QTest::newRow("wrong order") << 0 << QByteArray("CSReportReceived Data=D83F1A6C2E5") << unexpected;
        QTest::newRow("other token") << 0 << QByteArray("Data=D83F1A6C2E6 CSReportReceived") << unexpected;
        QTest::newRow("no acknowledgement") << 0 << QByteArray("Data=D83F1A6C2E5") << unexpected;
        QTest::newRow("never answers") << 1 << QByteArray() << "Échec : pas de réponse";
        QTest::newRow("connection refused") << 2 << QByteArray() << "Échec : Connection refused";
        QTest::newRow("bad host") << 3 << QByteArray() << "Échec : adresse du service invalide";
    }
    // The dialog's send button against a real HTTP server on 127.0.0.1, whatever that server does.
    void sending()
    {
        QFETCH(int, kind);
        QFETCH(QByteArray, reply);
        QFETCH(QString, status);
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        QByteArray request;
        connect(&server, &QTcpServer::newConnection, [&] {
            QTcpSocket* socket = server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [&, socket] {
                request += socket->readAll();
                if (kind == 1 || !request.contains("\r\n\r\n"))
                    return;
                socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: "
                    + QByteArray::number(reply.size()) + "\r\n\r\n" + reply);
                socket->disconnectFromHost();
            });
        });
        const QString host
            = kind == 3 ? QStringLiteral("not a host") : QStringLiteral("http://127.0.0.1:%1").arg(server.serverPort());
        if (kind == 2)
            server.close();
        FrmSendRapport dialog(sampleRecord(), host, nullptr, 400);
        dialog.show();
        auto* label = dialog.findChild<QLabel*>(QStringLiteral("LblStatus"));
        auto* send = dialog.findChild<QPushButton*>(QStringLiteral("CmdEnvoyer"));
        auto* sender = dialog.findChild<ReportSender*>();
        QSignalSpy finished(sender, &ReportSender::finished);
        send->click();
        QCOMPARE(label->text(), QStringLiteral("Envoi en cours"));
        QVERIFY(!send->isEnabled());
        QVERIFY(!sender->send(sampleRecord(), host)); // one report at a time
        QVERIFY(finished.wait(5000));
        const bool accepted = status == QStringLiteral("Rapport reçu");
        QCOMPARE(finished.size(), 1);
        QCOMPARE(finished.at(0).at(0).toBool(), accepted);
        QVERIFY2(label->text().startsWith(status), qPrintable(label->text()));
        QCOMPARE(send->isEnabled(), !accepted); // after a failure the user may try again
        if (kind <= 1)
            QCOMPARE(request.left(request.indexOf("\r\n")),
                "GET " + sampleRecord().reportUrl(host).toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority)
                    + " HTTP/1.1");
    }

    void handlerRouting_data()
    {
        QTest::addColumn<int>("state");  // 0 running, 1 quitting, 2 a report already open
        QTest::addColumn<int>("dialog"); // 0 none, 1 shows, 2 refuses, 3 throws
        QTest::addColumn<bool>("message");
        QTest::addColumn<ErrorOutcome>("outcome");
        QTest::newRow("dialog") << 0 << 1 << true << ErrorOutcome::Dialog;
        QTest::newRow("no dialog installed") << 0 << 0 << true << ErrorOutcome::Message;
        QTest::newRow("dialog cannot show") << 0 << 2 << true << ErrorOutcome::Message;
        QTest::newRow("dialog throws") << 0 << 3 << true << ErrorOutcome::Message;
        QTest::newRow("quitting") << 1 << 1 << true << ErrorOutcome::Message;
        QTest::newRow("report already open") << 2 << 1 << true << ErrorOutcome::Traced;
        QTest::newRow("nothing installed") << 0 << 0 << false << ErrorOutcome::Traced;
    }
    void handlerRouting()
    {
        QFETCH(int, state);
        QFETCH(int, dialog);
        QFETCH(bool, message);
        QFETCH(ErrorOutcome, outcome);
        QStringList messages;
        if (dialog)
            errorHandler().setDialogPresenter([&](const ErrorRecord& r, const QString&) {
                if (dialog == 3)
                    throw std::runtime_error("no window");
                m_shown << r;
                return dialog == 1;
            });
        if (message)
            errorHandler().setMessagePresenter([&](const ErrorRecord&, const QString& text) {
                messages << text;
                // An error raised while the box is up is only traced.
                return reportError(12, QStringLiteral("FrmSysTray")) == ErrorOutcome::Traced;
            });
        errorHandler().setQuitting(state == 1);
        errorHandler().setReportOpen(state == 2);
        Trace::resetForTests();
        appState().trace = true;
        appState().silent = true;
        errno = ENOENT;
        QCOMPARE(reportError(76, QStringLiteral("FrmNotes"), QStringLiteral("TxtNote"), std::nullopt,
                     QStringLiteral("note.txt"), QStringLiteral("Chemin introuvable"), {}, 42),
            outcome);
        appState() = AppState();
        QCOMPARE(messages.size(), outcome == ErrorOutcome::Message ? 1 : 0);
        if (!messages.isEmpty())
            QCOMPARE(messages[0],
                QStringLiteral("Erreur d'exécution interceptée : \n\nErreur numéro : 76\n"
                               "Source : FrmNotesChemin introuvable"));
        if (outcome != ErrorOutcome::Dialog)
            return;
        QCOMPARE(m_shown.size(), 1);
        QCOMPARE(m_shown[0].reportText(),
            QStringLiteral("Application=%1\r\nVersion=%2\r\nSource=FrmNotes\r\nControl=TxtNote\r\nIndex=\r\n"
                           "Value=note.txt\r\nNumber=76\r\nDescription=Chemin introuvable\r\nErrSource=%1\r\nErrDll=%3")
                .arg(programTitle(), QStringLiteral(TAPISOL_VERSION_STRING))
                .arg(ENOENT));
        QCOMPARE(m_shown[0].data, 42);
        QFile log(AppPaths::dataDir() + QStringLiteral("Tapisol.log"));
        QVERIFY(log.open(QIODevice::ReadOnly)
            && log.readAll().contains("*********************** MODSTD ERRSEND ***********************\r\n"));
    }

    void catchAllTurnsThrowsIntoReports()
    {
        captureDialogs();
        QWidget form;
        form.setObjectName(QStringLiteral("FrmTest"));
        auto* control = new Thrower(&form);
        control->setObjectName(QStringLiteral("CmdThrow"));
        control->setProperty("Index", 2);
        QCoreApplication::postEvent(control, new QEvent(QEvent::User));
        QCoreApplication::sendPostedEvents();
        QCOMPARE(m_shown.size(), 1);
        QCOMPARE(m_shown[0].reportText().section(QStringLiteral("\r\n"), 2, 8),
            QStringLiteral("Source=FrmTest\r\nControl=CmdThrow\r\nIndex=2\r\nValue=QEvent %1\r\nNumber=%2\r\n"
                           "Description=handler failed\r\nErrSource=std::runtime_error")
                .arg(int(QEvent::User))
                .arg(ErrorNumbers::StdException));

        // Anything thrown is caught, and the loop keeps delivering events afterwards.
        control->setProperty("Index", QVariant());
        QCoreApplication::postEvent(control, new QEvent(QEvent::Type(QEvent::User + 1)));
        bool timerRan = false;
        QTimer::singleShot(0, &form, [&] { timerRan = true; });
        QTRY_VERIFY(timerRan);
        QCOMPARE(m_shown.size(), 2);
        QCOMPARE(m_shown[1].number, ErrorNumbers::UnknownException);
        QVERIFY(!m_shown[1].controlIndex);
    }

    void activeControlIsTaken()
    {
        captureDialogs();
        errorHandler().setContextProvider(&TapisolApplication::fillActiveControl);
        QWidget form;
        auto* edit = new QLineEdit(&form);
        edit->setObjectName(QStringLiteral("TxtNom"));
        form.show();
        QApplication::setActiveWindow(&form);
        edit->setFocus();
        QTRY_COMPARE(QApplication::focusWidget(), edit);
        reportError(91, QStringLiteral("FrmNotes"));
        QCOMPARE(m_shown.last().control, QStringLiteral("TxtNom"));
        QVERIFY(!m_shown.last().controlIndex); // a plain control has no index, and no second error
        edit->setProperty("Index", 5);
        reportError(91, QStringLiteral("FrmNotes"));
        QCOMPARE(m_shown.last().indexText(), QStringLiteral("5"));
        reportError(91, QStringLiteral("FrmNotes"), QStringLiteral("CmdOk")); // the caller's control wins
        QCOMPARE(m_shown.last().control, QStringLiteral("CmdOk"));
        QVERIFY(!m_shown.last().controlIndex);
    }

    void installedPresentersOpenOneDialogAtATime()
    {
        TapisolApplication::installErrorPresenters([] { return QStringLiteral("http://127.0.0.1:9"); });
        QCOMPARE(reportError(61, QStringLiteral("FrmSysTray")), ErrorOutcome::Dialog);
        QCOMPARE(reportError(62, QStringLiteral("FrmSysTray")), ErrorOutcome::Traced);
        QList<FrmSendRapport*> dialogs;
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* d = qobject_cast<FrmSendRapport*>(w); d && d->isVisible())
                dialogs << d;
        QCOMPARE(dialogs.size(), 1);
        QCOMPARE(dialogs[0]->record().number, 61);
        dialogs[0]->findChild<QPushButton*>(QStringLiteral("CmdFermer"))->click();
        QTRY_VERIFY(!errorHandler().reportOpen()); // deleted on close

        // Once the program quits, the message box takes over.
        errorHandler().setQuitting(true);
        QString shownText;
        QTimer closer; // the box runs its own loop: close it from inside that loop
        connect(&closer, &QTimer::timeout, [&] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                shownText = box->text();
                box->accept();
            }
        });
        closer.start(10);
        QCOMPARE(reportError(63, QStringLiteral("FrmSysTray")), ErrorOutcome::Message);
        QCOMPARE(shownText, errorHandler().lastRecord().messageText());
    }
};

int main(int argc, char** argv)
{
    TapisolApplication app(argc, argv);
    TestErrorReport test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_errorreport.moc"
