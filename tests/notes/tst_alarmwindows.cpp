// Alarm windows on a real database: opened by the scan at the note's place or the standard one,
// translucent and shaped as the note says, and what the user does in them reaching the database
// (dismiss runs the closing rules, "later" does not, a drag is kept, the end of the program arms
// the note again). The note's look as painted, without a window.
#include "../db/MdbTestSupport.h"
#include "AlarmWindows.h"
#include "ClsRegistry.h"
#include "FrmAlarme.h"
#include "ImageDecoder.h"
#include "InterfaceTexts.h"
#include "NoteAlarms.h"
#include "NoteRenderer.h"
#include "NoteStore.h"
#include "TestClock.h"
#include "WallClock.h"

#include <QApplication>
#include <QMenu>
#include <QtTest>

namespace {

const QDateTime Now(QDate(2026, 3, 10), QTime(9, 0)); // local time of the test clock

Note alarmNote(const QString& text)
{
    Note note = Note::blank(Now.date());
    note.Alarme = true;
    note.fields.alarm = WallClock::of(Now);
    note.fields.origin = note.fields.alarm;
    note.fields.active = true;
    note.objects.text()->Texte = text;
    return note;
}

} // namespace

class TestAlarmWindows : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_db;
    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<AlarmWindows> m_windows;

    qint64 save(Note note)
    {
        [&] { QVERIFY(NoteStore::write(*m_db, note)); }();
        return note.Numero;
    }

private slots:
    void initTestCase()
    {
        ImageDecoder::setHelperProgram(QStringLiteral(TAPISOL_DECODER_PROGRAM));
        QVERIFY(interfaceTexts().load(QStringLiteral("FRA")));
    }

    void init()
    {
        setUp();
        releaseRegistry();
        m_db = makeMdb();
        QVERIFY(m_db->MdbInit());
        m_clock = std::make_unique<TestClock>(Now);
        m_windows = std::make_unique<AlarmWindows>(*m_db);
    }
    void cleanup()
    {
        m_windows.reset();
        m_clock.reset();
        m_db.reset();
        releaseRegistry();
        home.reset();
    }

    // Two notes due in one tick open two windows: a never-placed note at the standard size and
    // place, moved down for the second; a placed one where it was left, with its opacity.
    void scanOpensWindowsInPlace()
    {
        Note placed = alarmNote(QStringLiteral("placée"));
        ClsWinData* window = placed.objects.window();
        window->WinPosX = 300;
        window->WinPosY = 200;
        window->WinLargeur = 250;
        window->WinHauteur = 150;
        window->Transparence = 128;
        window->TransparenceApply = true;
        const qint64 first = save(placed);
        save(alarmNote(QStringLiteral("jamais placée")));
        save(alarmNote(QStringLiteral("jamais placée non plus")));
        m_windows->scanDue(Now);
        const QList<FrmAlarme*> open = m_windows->windows();
        QCOMPARE(open.size(), 3);
        QCOMPARE(open.at(0)->numero(), first);
        QCOMPARE(open.at(0)->geometry(), QRect(300, 200, 250, 150));
        QCOMPARE(open.at(0)->windowOpacity(), 128 / 255.0);
        // 5070 × 4770 twips at 96 dpi.
        QCOMPARE(open.at(1)->size(), QSize(338, 318));
        QCOMPARE(open.at(2)->pos() - open.at(1)->pos(), QPoint(28, 28));
        QCOMPARE(open.at(1)->windowOpacity(), 1.0);
        QVERIFY(open.at(1)->testAttribute(Qt::WA_DeleteOnClose));
        QVERIFY(open.at(1)->windowFlags() & Qt::WindowStaysOnTopHint);
        m_windows->scanDue(Now.addSecs(1));
        QCOMPARE(m_windows->windows().size(), 3); // each opens once
    }

    // Escape dismisses: a weekly note moves a week on at its hour. "Later" puts the alarm off
    // without the closing rules; the snoozed alarm comes back and its dismissal runs them.
    void dismissAndLater()
    {
        Note weekly = alarmNote(QStringLiteral("hebdomadaire"));
        weekly.fields.behaviour = 1;
        weekly.fields.frequency = Recurrence::Weekly;
        const qint64 numero = save(weekly);
        m_windows->scanDue(Now);
        QCOMPARE(m_windows->windows().size(), 1);
        FrmAlarme* window = m_windows->windows().first();
        window->actionsMenu()->findChild<QAction*>(QStringLiteral("later10"))->trigger();
        QTRY_VERIFY(m_windows->windows().isEmpty());
        auto fields = NoteAlarms::load(*m_db, numero);
        QCOMPARE(*fields->alarm, WallClock::of(Now.addSecs(600)));
        QCOMPARE(*fields->origin, WallClock::of(Now));
        QVERIFY(fields->active);

        m_clock->advanceSeconds(600);
        m_windows->scanDue(m_clock->now());
        QCOMPARE(m_windows->windows().size(), 1);
        QTest::keyClick(m_windows->windows().first(), Qt::Key_Escape);
        QTRY_VERIFY(m_windows->windows().isEmpty());
        fields = NoteAlarms::load(*m_db, numero);
        QCOMPARE(fields->date, QDate(2026, 3, 17));
        QCOMPARE(*fields->alarm, WallClock::make(QDate(2026, 3, 17), QTime(9, 0)));
        QVERIFY(fields->active);
    }

    // A drag is kept with the note (without renumbering it); a note deleted while its window is
    // open closes quietly; the end of the program arms a shown note again.
    void movedDeletedAndExit()
    {
        const qint64 moved = save(alarmNote(QStringLiteral("déplacée")));
        const qint64 deleted = save(alarmNote(QStringLiteral("supprimée")));
        const qint64 left = save(alarmNote(QStringLiteral("laissée ouverte")));
        m_windows->scanDue(Now);
        QCOMPARE(m_windows->windows().size(), 3);
        FrmAlarme* window = m_windows->windows().at(0);
        window->setGeometry(QRect(420, 260, 300, 200));
        QTRY_COMPARE(MdbTest::rows(m_db->database(),
                         QStringLiteral("SELECT WinPosX, WinPosY, WinLargeur, WinHauteur FROM Agenda WHERE Numero = %1")
                             .arg(moved)),
            QStringLiteral("420.0|260.0|300.0|200.0"));

        QVERIFY(NoteStore::remove(*m_db, deleted));
        m_windows->windows().at(1)->close();
        QTRY_COMPARE(m_windows->windows().size(), 2);
        QVERIFY(!NoteStore::exists(*m_db, deleted));

        m_windows->closeAllForExit();
        QTRY_VERIFY(m_windows->windows().isEmpty());
        QVERIFY(NoteAlarms::load(*m_db, left)->active);
        QVERIFY(NoteAlarms::load(*m_db, moved)->active);
    }

    // A note that cuts out its background colour leaves only its text: the window's shape holds
    // the text's pixels and not the background's.
    void cutOutShape()
    {
        Note note = alarmNote(QStringLiteral("MMMM"));
        ClsWinData* window = note.objects.window();
        window->WinBackColorApply = true;
        window->WinBackColor = NoteRenderer::stored(QColor(0, 255, 0));
        window->Decoupage = true;
        window->DecoupBkColor = window->WinBackColor;
        note.objects.text()->TxtAlign = 5;
        note.objects.text()->TxtForeColor = 0;
        const QImage painted = NoteRenderer::render(QSize(300, 200), note, {});
        QCOMPARE(painted.pixelColor(2, 2), QColor(0, 255, 0));
        const QRegion shape = NoteRenderer::shape(painted, QColor(0, 255, 0));
        QVERIFY(!shape.contains(QPoint(2, 2)));
        QVERIFY(!shape.isEmpty());
        QVERIFY(shape.boundingRect().width() < 300);
        QVERIFY(shape.boundingRect().contains(QPoint(150, 100)));

        save(note);
        m_windows->scanDue(Now);
        FrmAlarme* shown = m_windows->windows().first();
        QVERIFY(!shown->mask().isEmpty());
        QVERIFY(!shown->mask().contains(QPoint(shown->width() / 2, shown->height() - 4)));
    }

    // The note's picture fills its window (decoded by the helper); a picture that is gone is said
    // in the window instead of crashing it.
    void pictureShownOrSaid()
    {
        const QString picture = home->path() + QStringLiteral("/bleu.png");
        QImage blue(640, 480, QImage::Format_RGB32);
        blue.fill(QColor(0, 0, 255));
        QVERIFY(blue.save(picture));
        for (const QString& path : {picture, home->path() + QStringLiteral("/disparue.png")}) {
            Note note = alarmNote(QString());
            ClsWinData* window = note.objects.window();
            window->WinPosX = 10;
            window->WinPosY = 10;
            window->WinLargeur = 320;
            window->WinHauteur = 240;
            auto image = std::make_unique<ClsImgData>();
            image->Texte = path;
            note.objects.Add(std::move(image));
            save(note);
        }
        m_windows->scanDue(Now);
        QCOMPARE(m_windows->windows().size(), 2);
        const QImage shown = m_windows->windows().at(0)->grab().toImage();
        QCOMPARE(shown.pixelColor(160, 120), QColor(0, 0, 255));
        const QImage gone = m_windows->windows().at(1)->grab().toImage();
        QCOMPARE(gone.pixelColor(160, 120), QColor(Qt::white));
        int reddish = 0; // the reason, written in dark red
        for (int y = 0; y < gone.height(); ++y) {
            for (int x = 0; x < gone.width(); ++x) {
                const QColor pixel = gone.pixelColor(x, y);
                reddish += pixel.red() > pixel.green() + 40 && pixel.red() > pixel.blue() + 40 ? 1 : 0;
            }
        }
        QVERIFY(reddish > 20);
    }

    // The keypad codes of the alignment and the text's movement: a scroll wraps round, a
    // back-and-forth turns at the ends, a still text stays.
    void alignmentAndMovement_data()
    {
        QTest::addColumn<int>("moving");
        QTest::addColumn<int>("direction");
        QTest::addColumn<int>("steps");
        QTest::addColumn<QPointF>("expected");
        // Area 100 × 50, text 40 × 10, one pixel a step.
        QTest::newRow("still") << 1 << 0 << 30 << QPointF(0, 0);
        QTest::newRow("scroll left") << 0 << 0 << 30 << QPointF(-30, 0);
        QTest::newRow("scroll left wraps after area + text") << 0 << 0 << 145 << QPointF(-5, 0);
        QTest::newRow("scroll up") << 0 << 2 << 20 << QPointF(0, -20);
        QTest::newRow("back and forth turns") << 2 << 1 << 70 << QPointF(50, 0);
        QTest::newRow("back and forth down") << 2 << 3 << 45 << QPointF(0, 35);
    }
    void alignmentAndMovement()
    {
        QFETCH(int, moving);
        QFETCH(int, direction);
        QFETCH(int, steps);
        QFETCH(QPointF, expected);
        ClsTxtData text {NoteDefaults {}};
        text.Texte = QStringLiteral("x");
        text.TxtMoving = quint8(moving);
        text.TxtDirection = quint8(direction);
        QCOMPARE(NoteRenderer::offsetAfter(text, steps, QSizeF(100, 50), QSizeF(40, 10)), expected);
        QCOMPARE(NoteRenderer::alignment(5), Qt::AlignVCenter | Qt::AlignHCenter);
        QCOMPARE(NoteRenderer::alignment(9), Qt::AlignBottom | Qt::AlignRight);
        QCOMPARE(NoteRenderer::alignment(0), Qt::AlignTop | Qt::AlignLeft);
    }
};

QTEST_MAIN(TestAlarmWindows)
#include "tst_alarmwindows.moc"
