// When an alarm comes back and where a recurring note moves: the date stepping of each mode, the
// repeat up to its end, the closing rules, and when the scan finds a note due.
#include "Recurrence.h"
#include "WallClock.h"

#include <QtTest>

#include <ctime>

using namespace Recurrence;

namespace {

QDateTime at(int year, int month, int day, int hour = 9, int minute = 0)
{
    return WallClock::make(QDate(year, month, day), QTime(hour, minute));
}

} // namespace

class TestRecurrence : public QObject
{
    Q_OBJECT

private slots:
    void nextDates_data()
    {
        QTest::addColumn<QDateTime>("start");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("flags");
        QTest::addColumn<int>("interval");
        QTest::addColumn<int>("unit");
        QTest::addColumn<QDateTime>("expected");
        const QDateTime sunday = at(2026, 3, 1, 7, 30); // 1 March 2026 is a Sunday
        QTest::newRow("no day chosen: eight days") << sunday << 0 << "0000000" << 0 << 0 << at(2026, 3, 9, 7, 30);
        QTest::newRow("Sunday to Monday") << sunday << 0 << "1000000" << 0 << 0 << at(2026, 3, 2, 7, 30);
        QTest::newRow("Sunday to the next Sunday") << sunday << 0 << "0000001" << 0 << 0 << at(2026, 3, 8, 7, 30);
        QTest::newRow("weekly") << sunday << 1 << "" << 0 << 0 << at(2026, 3, 8, 7, 30);
        QTest::newRow("31 January, every month") << at(2027, 1, 31) << 2 << "111111111111" << 0 << 0 << at(2027, 2, 28);
        QTest::newRow("31 January, leap year") << at(2028, 1, 31) << 2 << "111111111111" << 0 << 0 << at(2028, 2, 29);
        // The clamped day carries on: from 31 January, only April chosen, the 28th of April.
        QTest::newRow("drift after February") << at(2027, 1, 31) << 2 << "000100000000" << 0 << 0 << at(2027, 4, 28);
        QTest::newRow("no month chosen") << at(2027, 5, 15) << 2 << "000000000000" << 0 << 0 << at(2028, 5, 15);
        QTest::newRow("yearly, 29 February") << at(2028, 2, 29) << 3 << "" << 0 << 0 << at(2029, 2, 28);
        QTest::newRow("two weeks") << sunday << 4 << "" << 2 << 3 << at(2026, 3, 15, 7, 30);
        QTest::newRow("ninety minutes") << sunday << 4 << "" << 90 << 0 << at(2026, 3, 1, 9, 0);
        QTest::newRow("three months") << at(2026, 11, 30) << 4 << "" << 3 << 4 << at(2027, 2, 28);
        QTest::newRow("unknown unit") << sunday << 4 << "" << 3 << 9 << sunday;
        QTest::newRow("unknown mode") << sunday << 7 << "" << 3 << 2 << sunday;
    }

    void nextDates()
    {
        QFETCH(QDateTime, start);
        QFETCH(int, mode);
        QFETCH(QString, flags);
        QFETCH(int, interval);
        QFETCH(int, unit);
        QFETCH(QDateTime, expected);
        QCOMPARE(nextDate(start, mode, flags, interval, unit), expected);
    }

    // Every 15 minutes up to 10:00: from 9:50 the next showing is 10:00 exactly, then none; the
    // first showing is kept as the origin.
    void repeatUpToTheEnd()
    {
        AlarmFields note;
        note.alarm = at(2026, 3, 2, 9, 50);
        note.end = at(2026, 3, 2, 10, 0);
        note.repeats = true;
        note.repeatInterval = 15;
        note.repeatUnit = Minute;
        QVERIFY(repeatAlarm(note));
        QCOMPARE(*note.alarm, at(2026, 3, 2, 10, 0));
        QCOMPARE(*note.origin, at(2026, 3, 2, 9, 50));
        QVERIFY(note.active);
        note.active = false;
        QVERIFY(!repeatAlarm(note));
        QVERIFY(!note.active);
        note.repeats.reset(); // Null: no repeat
        note.end = at(2026, 3, 3);
        QVERIFY(!repeatAlarm(note));
    }

    // A one-off note ends inactive, unless its alarm was moved into the future; a recurring one
    // moves to its next occurrence keeping the alarm's hour, until past its end date.
    void closing()
    {
        const QDateTime now = at(2026, 3, 2, 9, 0);
        AlarmFields once;
        once.date = QDate(2026, 3, 2);
        once.alarm = at(2026, 3, 2, 8, 59);
        closeAlarm(once, now);
        QVERIFY(!once.active);
        once.alarm = at(2026, 3, 2, 9, 30); // moved in the alarm tools
        closeAlarm(once, now);
        QVERIFY(once.active);

        AlarmFields mondays;
        mondays.behaviour = 1;
        mondays.frequency = WeekDays;
        mondays.weekDays = QStringLiteral("1000000");
        mondays.date = QDate(2026, 3, 2);
        mondays.alarm = at(2026, 3, 2, 18, 45);
        mondays.end = at(2026, 3, 10);
        closeAlarm(mondays, now);
        QCOMPARE(mondays.date, QDate(2026, 3, 9));
        QCOMPARE(*mondays.alarm, at(2026, 3, 9, 18, 45));
        QCOMPARE(*mondays.origin, *mondays.alarm);
        QVERIFY(mondays.active);
        closeAlarm(mondays, now);
        QCOMPARE(mondays.date, QDate(2026, 3, 16));
        QVERIFY(!mondays.active); // past 10 March

        AlarmFields monthly; // FreqMois Null: every month
        monthly.behaviour = 1;
        monthly.frequency = Months;
        monthly.alarm = at(2026, 1, 31, 7, 0);
        closeAlarm(monthly, now);
        QCOMPARE(*monthly.alarm, at(2026, 2, 28, 7, 0));
    }

    // Due when its time has come, or at once when its day lies after the note's own day.
    void due()
    {
        AlarmFields note;
        note.active = true;
        note.date = QDate(2026, 3, 10);
        note.alarm = at(2026, 3, 12, 18, 0);
        QVERIFY(isDue(note, at(2026, 3, 10, 8, 0)));
        note.date = QDate(2026, 3, 12);
        QVERIFY(!isDue(note, at(2026, 3, 12, 17, 59)));
        QVERIFY(isDue(note, at(2026, 3, 12, 18, 0)));
        note.active = false;
        QVERIFY(!isDue(note, at(2026, 3, 13)));
        note.active = true;
        note.alarm.reset();
        QVERIFY(!isDue(note, at(2026, 3, 13)));
    }
};

// The local clock of a time zone, set for one test and put back after it.
class TimeZone
{
public:
    explicit TimeZone(const char* zone)
        : m_old(qgetenv("TZ"))
    {
        qputenv("TZ", zone);
        tzset();
    }
    ~TimeZone()
    {
        if (m_old.isEmpty())
            qunsetenv("TZ");
        else
            qputenv("TZ", m_old);
        tzset();
    }

private:
    QByteArray m_old;
};

// A daily alarm followed second by second through the nights the clocks change, as the scan sees
// it (the local clock read as a wall clock) and the closing rules move it. It keeps its hour; at a
// time the clocks skip it comes at the first instant after; in a repeated hour it comes once.
class TestDaylightSaving : public QObject
{
    Q_OBJECT

    // Shows and dismisses the daily alarm at `hour`:`minute` from `first` (local) for `hours`,
    // a tick every second; the local instants at which it was shown.
    static QList<QDateTime> follow(const QDateTime& first, int hours, int hour, int minute)
    {
        AlarmFields note;
        note.behaviour = 1;
        note.frequency = Every;
        note.noteInterval = 1;
        note.noteUnit = Day;
        note.date = first.date();
        note.alarm = WallClock::make(first.date(), QTime(hour, minute));
        note.active = true;
        QList<QDateTime> shown;
        const qint64 start = first.toSecsSinceEpoch();
        for (qint64 t = start; t < start + hours * 3600; ++t) {
            const QDateTime local = QDateTime::fromSecsSinceEpoch(t);
            const QDateTime now = WallClock::of(local);
            if (isDue(note, now)) {
                shown << local;
                note.active = false;
                closeAlarm(note, now);
            }
        }
        return shown;
    }

private slots:
    void dailyAlarmAcrossTheChanges_data()
    {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QDate>("day");
        QTest::addColumn<int>("hour");
        QTest::addColumn<int>("minute");
        QTest::addColumn<QStringList>("expected"); // local times shown, "yyyy-MM-dd HH:mm:ss t"
        QTest::newRow("Paris, spring, 09:00 keeps its hour")
            << QByteArray("Europe/Paris") << QDate(2026, 3, 28) << 9 << 0
            << QStringList {"2026-03-28 09:00:00 CET", "2026-03-29 09:00:00 CEST", "2026-03-30 09:00:00 CEST"};
        QTest::newRow("Paris, spring, 02:30 skipped: at 03:00")
            << QByteArray("Europe/Paris") << QDate(2026, 3, 28) << 2 << 30
            << QStringList {"2026-03-28 02:30:00 CET", "2026-03-29 03:00:00 CEST", "2026-03-30 02:30:00 CEST"};
        QTest::newRow("Paris, autumn, 02:30 repeated: once")
            << QByteArray("Europe/Paris") << QDate(2026, 10, 24) << 2 << 30
            << QStringList {"2026-10-24 02:30:00 CEST", "2026-10-25 02:30:00 CEST", "2026-10-26 02:30:00 CET"};
        QTest::newRow("New York, spring, 02:15 skipped: at 03:00")
            << QByteArray("America/New_York") << QDate(2026, 3, 7) << 2 << 15
            << QStringList {"2026-03-07 02:15:00 EST", "2026-03-08 03:00:00 EDT", "2026-03-09 02:15:00 EDT"};
        QTest::newRow("New York, autumn, 01:45 repeated: once")
            << QByteArray("America/New_York") << QDate(2026, 10, 31) << 1 << 45
            << QStringList {"2026-10-31 01:45:00 EDT", "2026-11-01 01:45:00 EDT", "2026-11-02 01:45:00 EST"};
    }

    void dailyAlarmAcrossTheChanges()
    {
        QFETCH(QByteArray, zone);
        QFETCH(QDate, day);
        QFETCH(int, hour);
        QFETCH(int, minute);
        QFETCH(QStringList, expected);
        const TimeZone timeZone(zone.constData());
        QStringList shown;
        for (const QDateTime& local : follow(QDateTime(day, QTime(0, 0)), 3 * 24, hour, minute))
            shown << local.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss ")) + local.timeZoneAbbreviation();
        QCOMPARE(shown, expected);
    }

    // Where the scan's wall clock meets the local one: a skipped time becomes the first valid one.
    void wallClockToLocal()
    {
        const TimeZone timeZone("Europe/Paris");
        const QDateTime skipped = WallClock::toLocal(WallClock::make(QDate(2026, 3, 29), QTime(2, 30)));
        QVERIFY(skipped.isValid());
        QCOMPARE(skipped.time(), QTime(3, 0));
        QCOMPARE(WallClock::of(QDateTime(QDate(2026, 7, 1), QTime(12, 34))),
            WallClock::make(QDate(2026, 7, 1), QTime(12, 34)));
        QCOMPARE(WallClock::fromOa(WallClock::toOa(WallClock::make(QDate(2026, 3, 29), QTime(2, 30)))),
            WallClock::make(QDate(2026, 3, 29), QTime(2, 30)));
    }
};

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    TestRecurrence recurrence;
    TestDaylightSaving daylightSaving;
    return QTest::qExec(&recurrence, argc, argv) | QTest::qExec(&daylightSaving, argc, argv);
}
#include "tst_recurrence.moc"
