// The project password dialog driven by keys: a wrong password keeps it open and says so, the right
// one lets the user in, Escape gives up, and a project without a password asks nothing.
#include "FrmPassword.h"
#include "InterfaceTexts.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>
#include <QtTest>

class TestFrmPassword : public QObject
{
    Q_OBJECT

    const ProjectRow m_locked {3, QStringLiteral("Vacances d'été"), 5, QStringLiteral("Sesame")};

    QStringList m_seen;

    // Once ask() has opened its dialog, types `attempts` one after the other, each ended by Return,
    // and notes whether the typing was hidden and, after each try, whether the dialog was still
    // open and said the password was wrong.
    void typeInto(const QStringList& attempts, bool escapeAtEnd)
    {
        m_seen.clear();
        QTimer::singleShot(0, this, [this, attempts, escapeAtEnd] {
            auto* dialog = qobject_cast<FrmPassword*>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            auto* edit = dialog->findChild<QLineEdit*>(QStringLiteral("password"));
            m_seen << (edit->echoMode() == QLineEdit::Password ? QStringLiteral("hidden") : QStringLiteral("shown"));
            for (const QString& attempt : attempts) {
                QTest::keyClicks(edit, attempt); // replaces the text a wrong try left selected
                QTest::keyClick(edit, Qt::Key_Return);
                const bool wrong = dialog->findChild<QLabel*>(QStringLiteral("wrong"))->isVisible();
                m_seen << QStringLiteral("%1:%2").arg(dialog->isVisible()).arg(wrong);
            }
            if (escapeAtEnd)
                QTest::keyClick(edit, Qt::Key_Escape);
        });
    }

private slots:
    void initTestCase() { QVERIFY(interfaceTexts().load(QStringLiteral("FRA"))); }

    void wrongThenRight()
    {
        typeInto({QStringLiteral("sesame"), QStringLiteral("Sesame")}, false);
        QVERIFY(FrmPassword::ask(nullptr, m_locked));
        QCOMPARE(m_seen, QStringList({QStringLiteral("hidden"), QStringLiteral("1:1"), QStringLiteral("0:0")}));
    }

    void escapeGivesUp()
    {
        typeInto({QStringLiteral("faux")}, true);
        QVERIFY(!FrmPassword::ask(nullptr, m_locked));
        QCOMPARE(m_seen, QStringList({QStringLiteral("hidden"), QStringLiteral("1:1")}));
    }

    void openProjectAsksNothing()
    {
        ProjectRow open = m_locked;
        open.Paswd.clear();
        QVERIFY(FrmPassword::ask(nullptr, open));
        QVERIFY(!QApplication::activeModalWidget());
    }
};

QTEST_MAIN(TestFrmPassword)
#include "tst_frmpassword.moc"
