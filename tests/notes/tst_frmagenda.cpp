// The calendar window on a real database: every text whole in French and English, the month
// moved by its buttons and keys, a weekly note on each of its days, the holidays of the chosen
// country in the tool tips, and a double click on a day asking for that day's notes.
#include "../db/MdbTestSupport.h"
#include "ClsRegistry.h"
#include "FrmAgenda.h"
#include "ImageDecoder.h"
#include "InterfaceTexts.h"
#include "MonthGrid.h"
#include "NoteStore.h"
#include "TestClock.h"
#include "WallClock.h"

#include <QAbstractButton>
#include <QLabel>
#include <QListWidget>
#include <QtTest>

class TestFrmAgenda : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<TestClock> m_clock;

private slots:
    void initTestCase() { ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM)); }

    void init()
    {
        setUp();
        releaseRegistry();
        // The program's database object, on this test's data folder.
        mdb().setMdbName(file);
        mdb().setLanguageFolder(QStringLiteral(TAPISOL_TEST_LANG_DIR));
        QVERIFY(mdb().MdbInit());
        m_clock = std::make_unique<TestClock>(QDateTime(QDate(2026, 11, 25), QTime(10, 0)));
        Note weekly = Note::blank(QDate(2026, 2, 19)); // a Thursday
        weekly.fields.behaviour = 1;
        weekly.fields.frequency = Recurrence::Weekly;
        weekly.objects.text()->Texte = QStringLiteral("Piscine");
        QVERIFY(NoteStore::write(mdb(), weekly));
    }
    void cleanup()
    {
        mdb().close();
        m_clock.reset();
        releaseRegistry();
        home.reset();
    }

    void textsWhole_data()
    {
        QTest::addColumn<QString>("language");
        QTest::newRow("French") << QStringLiteral("FRA");
        QTest::newRow("English") << QStringLiteral("ENG");
    }
    void textsWhole()
    {
        QFETCH(QString, language);
        QVERIFY(interfaceTexts().load(language));
        FrmAgenda agenda;
        agenda.show();
        QVERIFY(QTest::qWaitForWindowExposed(&agenda));
        for (const QLabel* label : agenda.findChildren<QLabel*>())
            QVERIFY2(!label->text().contains(QLatin1Char('#')), qPrintable(label->text()));
        for (const QAbstractButton* button : agenda.findChildren<QAbstractButton*>()) {
            QVERIFY2(!button->text().contains(QLatin1Char('#')), qPrintable(button->text()));
            QVERIFY2(
                button->fontMetrics().horizontalAdvance(button->text().remove(QLatin1Char('&'))) <= button->width(),
                qPrintable(button->text()));
            QVERIFY(!button->toolTip().contains(QLatin1Char('#')));
        }
        QVERIFY(agenda.frameGeometry().width() <= 1366 && agenda.frameGeometry().height() <= 768);
    }

    // November 2026 in France: the weekly note on every Thursday, Armistice Day in the tool tip;
    // the next month by its button, then back with Page Up; a double click asks for that day.
    void monthAndDays()
    {
        QVERIFY(interfaceTexts().load(QStringLiteral("FRA")));
        FrmAgenda agenda;
        agenda.show();
        QVERIFY(QTest::qWaitForWindowExposed(&agenda));
        MonthGrid* grid = agenda.grid();
        for (int day : {5, 12, 19, 26})
            QCOMPARE(grid->cellText(QDate(2026, 11, day)), QStringLiteral("Piscine"));
        QCOMPARE(grid->cellText(QDate(2026, 11, 25)), QString());
        QVERIFY(grid->toolTipFor(QDate(2026, 11, 11)).contains(QLatin1String("Armistice 1918")));
        QCOMPARE(agenda.findChild<QLabel*>(QStringLiteral("month"))->text(), QStringLiteral("Novembre 2026"));

        QTest::mouseClick(agenda.findChild<QAbstractButton*>(QStringLiteral("nextMonth")), Qt::LeftButton);
        QCOMPARE(agenda.findChild<QLabel*>(QStringLiteral("month"))->text(), QStringLiteral("Décembre 2026"));
        QCOMPARE(grid->cellText(QDate(2026, 12, 3)), QStringLiteral("Piscine"));
        QVERIFY(grid->toolTipFor(QDate(2026, 12, 25)).contains(QStringLiteral("Noël")));
        QTest::keyClick(grid, Qt::Key_PageUp);
        QCOMPARE(agenda.selectedDate(), QDate(2026, 11, 25));

        QSignalSpy asked(&agenda, &FrmAgenda::openDay);
        QTest::mouseDClick(grid, Qt::LeftButton, {}, grid->cellRect(QDate(2026, 11, 19)).center());
        QCOMPARE(asked.count(), 1);
        QCOMPARE(asked.first().first().toDate(), QDate(2026, 11, 19));
        auto* list = agenda.findChild<QListWidget*>(QStringLiteral("dayNotes"));
        QCOMPARE(list->count(), 1);
        QCOMPARE(list->item(0)->text(), QStringLiteral("Piscine"));

        // A note saved elsewhere shows at once.
        Note once = Note::blank(QDate(2026, 11, 20));
        once.objects.text()->Texte = QStringLiteral("Dentiste");
        QVERIFY(NoteStore::write(mdb(), once));
        QCOMPARE(grid->cellText(QDate(2026, 11, 20)), QStringLiteral("Dentiste"));
    }
};

QTEST_MAIN(TestFrmAgenda)
#include "tst_frmagenda.moc"
