#include "AppState.h"
#include "CannedHttpServer.h"
#include "ErrorReport.h"
#include "FrmSendRapport.h"
#include "InterfaceTexts.h"
#include "TapisolApplication.h"
#include "TempXdgHome.h"

#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

#include <memory>
#include <stdexcept>

namespace {

const QByteArray kTexts = "2106=%%1 a intercepté une erreur.\n"
                          "2107=Envoyez ce rapport à l'auteur de %%1 (%%1 continue).\n"
                          "2002=Merci.\n"
                          "2112=Voir\n2113=Envoyer\n2114=Fermer\n2115=Envoi en cours\n"
                          "2116=Rapport reçu\n2117=Échec : %1\n2118=Masquer\n";

ErrorRecord sampleRecord()
{
    ErrorRecord r;
    r.application = QStringLiteral("Tapisol");
    r.sourceForm = QStringLiteral("FrmSysTray");
    r.number = 53;
    r.value = QStringLiteral("a & b.jpg");
    r.description = QStringLiteral("Fichier introuvable");
    return r;
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

class TestSendRapport : public QObject
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

    void dialogShowsTextsAndReport()
    {
        {
            FrmSendRapport dialog(sampleRecord(), QStringLiteral("http://127.0.0.1:1"));
            dialog.show();
            QCOMPARE(dialog.windowTitle(), programTitle() + QStringLiteral(" - Rapport d'erreur"));
            const QString texts[] = {QStringLiteral("%1 a intercepté une erreur."),
                QStringLiteral("Envoyez ce rapport à l'auteur de %1 (%1 continue)."), QStringLiteral("Merci.")};
            const int numbers[] = {2106, 2107, 2002};
            for (int i = 0; i < 3; ++i)
                QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("LblTexte%1").arg(numbers[i]))->text(),
                    QString(texts[i]).replace(QLatin1String("%1"), programTitle()));
            auto* view = dialog.findChild<QPlainTextEdit*>(QStringLiteral("TxtRapport"));
            const int closedHeight = dialog.height();
            dialog.findChild<QPushButton*>(QStringLiteral("CmdVoir"))->click();
            QVERIFY(view->isVisible());
            QVERIFY(dialog.height() > closedHeight);
            QCOMPARE(
                view->toPlainText(), sampleRecord().reportText().replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
            QVERIFY(errorHandler().reportOpen());
        }
        QVERIFY(!errorHandler().reportOpen());
    }

    void sendButtonReportsTheOutcome_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("status");
        QTest::addColumn<bool>("sendEnabledAfter");
        QTest::newRow("arrived") << QByteArray("Data=D83F1A6C2E5 CSReportReceived") << "Rapport reçu" << false;
        QTest::newRow("refused") << QByteArray("Service en travaux") << "Échec : réponse inattendue du service" << true;
    }
    void sendButtonReportsTheOutcome()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QString, status);
        QFETCH(bool, sendEnabledAfter);
        CannedHttpServer server(reply);
        FrmSendRapport dialog(sampleRecord(), server.host());
        dialog.show();
        auto* label = dialog.findChild<QLabel*>(QStringLiteral("LblStatus"));
        auto* send = dialog.findChild<QPushButton*>(QStringLiteral("CmdEnvoyer"));
        send->click();
        QCOMPARE(label->text(), QStringLiteral("Envoi en cours"));
        QVERIFY(!send->isEnabled());
        QTRY_COMPARE(label->text(), status);
        QCOMPARE(send->isEnabled(), sendEnabledAfter);
        QVERIFY(server.requestLine().contains("&errvaleur=a%20%26%20b.jpg&"));
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
        QCOMPARE(m_shown[0].number, ErrorNumbers::StdException);
        QCOMPARE(m_shown[0].description, QStringLiteral("handler failed"));
        QCOMPARE(m_shown[0].errorSource, QStringLiteral("std::runtime_error"));
        QCOMPARE(m_shown[0].sourceForm, QStringLiteral("FrmTest"));
        QCOMPARE(m_shown[0].control, QStringLiteral("CmdThrow"));
        QCOMPARE(m_shown[0].indexText(), QStringLiteral("2"));
        QCOMPARE(m_shown[0].value, QStringLiteral("QEvent %1").arg(int(QEvent::User)));

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
    TestSendRapport test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_sendrapport.moc"
