// The alarm fields of notes in a real database file, and the scan that opens the due ones.
#include "../db/MdbTestSupport.h"
#include "JetValues.h"
#include "NoteAlarms.h"

#include <QtTest>

using Recurrence::AlarmFields;

class TestNoteAlarms : public QObject, MdbTest::Fixture
{
    Q_OBJECT

    std::unique_ptr<ClsMdb> m_db;

    // A note of `day` with its alarm at `alarm` (none when invalid), active or not; its number.
    qint64 addNote(const QDate& day, const QDateTime& alarm, bool active)
    {
        SQLite::Statement insert(m_db->database(),
            "INSERT INTO Agenda (Date, Alarme, DateAlarme, AlarmeRepet, Comportement, Frequence, FreqJours, Active, "
            "Decoupage, WinBackColor) VALUES (?, -1, ?, 0, 0, 0, '0000000', ?, 0, 0)");
        Jet::bindDate(insert, 1, day.startOfDay());
        Jet::bindDate(insert, 2, alarm);
        Jet::bindBool(insert, 3, active);
        insert.exec();
        return m_db->database().getLastInsertRowid();
    }

private slots:
    void init()
    {
        setUp();
        m_db = makeMdb();
        QVERIFY(m_db->MdbInit());
    }
    void cleanup()
    {
        m_db.reset();
        home.reset();
    }

    // Two notes due in the same second open two windows in one scan; a note whose alarm day
    // lies after its own day opens at once; the future, inactive and alarm-less ones wait; each
    // opens once.
    void scanOpensEachDueNoteOnce()
    {
        const QDateTime now(QDate(2026, 3, 10), QTime(9, 0));
        const qint64 first = addNote(now.date(), now, true);
        const qint64 second = addNote(now.date(), now.addSecs(-60), true);
        const qint64 laterDay = addNote(now.date(), QDateTime(QDate(2026, 3, 12), QTime(18, 0)), true);
        addNote(now.date(), now.addSecs(3600), true);  // later today
        addNote(now.date(), now.addSecs(-600), false); // already shown
        addNote(now.date(), QDateTime(), true);        // no alarm time
        QList<qint64> opened;
        QCOMPARE(NoteAlarms::scan(*m_db, now, [&opened](qint64 numero) { opened << numero; }), 3);
        std::sort(opened.begin(), opened.end());
        QCOMPARE(opened, QList<qint64>({first, second, laterDay}));
        QCOMPARE(NoteAlarms::scan(*m_db, now.addSecs(1), [](qint64) {}), 0);
        QCOMPARE(NoteAlarms::load(*m_db, first)->active, false);
    }

    // What the closing rules change is stored and read back, Null fields staying Null.
    void fieldsRoundTrip()
    {
        const qint64 numero = addNote(QDate(2026, 3, 2), QDateTime(QDate(2026, 3, 2), QTime(18, 45)), false);
        m_db->database().exec("UPDATE Agenda SET Comportement = 1, Frequence = 0, FreqJours = '1000000' WHERE Numero = "
            + std::to_string(numero));
        auto note = NoteAlarms::load(*m_db, numero);
        QVERIFY(note);
        QVERIFY(!note->origin && !note->end && note->repeats == false && !note->months);
        Recurrence::closeAlarm(*note, QDateTime(QDate(2026, 3, 2), QTime(18, 46)));
        QVERIFY(NoteAlarms::store(*m_db, numero, *note));
        const auto again = NoteAlarms::load(*m_db, numero);
        QCOMPARE(again->date, QDate(2026, 3, 9));
        QCOMPARE(*again->alarm, QDateTime(QDate(2026, 3, 9), QTime(18, 45)));
        QCOMPARE(*again->origin, *again->alarm);
        QVERIFY(again->active);
        QVERIFY(!NoteAlarms::load(*m_db, numero + 100));
    }
};

QTEST_GUILESS_MAIN(TestNoteAlarms)
#include "tst_notealarms.moc"
