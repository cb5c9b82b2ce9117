// What the month calendar shows: the days a note falls on in a month, recurring notes included
// (each mode against NextDate, the 31st drifting, a birthday on 29 February, notes that recur every
// few minutes or never end), from a real database; and the public holidays of a country from the
// table the build makes.
#include "../db/MdbTestSupport.h"
#include "HolidayTable.h"
#include "MonthLayout.h"
#include "MonthOccurrences.h"
#include "NoteStore.h"
#include "WallClock.h"

#include <QtTest>

#include <ctime>

using MonthOccurrences::NoteRule;

namespace {

NoteRule rule(const QDate& date, int mode, const QString& flags = {}, int interval = 0, int unit = 0)
{
    NoteRule r;
    r.date = date;
    r.time = QTime(9, 30);
    r.recurring = true;
    r.mode = mode;
    r.flags = flags;
    r.interval = interval;
    r.unit = unit;
    return r;
}

QList<int> days(const QList<QDate>& dates)
{
    QList<int> numbers;
    for (const QDate& date : dates)
        numbers << date.day();
    return numbers;
}

} // namespace

class TestCalendar : public QObject, MdbTest::Fixture
{
    Q_OBJECT

private slots:
    void daysOfAMonth_data()
    {
        QTest::addColumn<NoteRule>("note");
        QTest::addColumn<int>("year");
        QTest::addColumn<int>("month");
        QTest::addColumn<QList<int>>("expected");
        NoteRule once = rule(QDate(2026, 3, 10), 0);
        once.recurring = false;
        QTest::newRow("one-off in the month") << once << 2026 << 3 << QList<int> {10};
        QTest::newRow("one-off elsewhere") << once << 2026 << 4 << QList<int> {};
        QTest::newRow("weekly from long before")
            << rule(QDate(2019, 1, 7), 1) << 2026 << 3 << QList<int> {2, 9, 16, 23, 30}; // Mondays
        QTest::newRow("Monday and Wednesday")
            << rule(QDate(2026, 2, 25), 0, "1010000") << 2026 << 3 << QList<int> {2, 4, 9, 11, 16, 18, 23, 25, 30};
        QTest::newRow("not before its own day") << rule(QDate(2026, 3, 18), 1) << 2026 << 3 << QList<int> {18, 25};
        QTest::newRow("31st, every month: drifts to the 28th after February")
            << rule(QDate(2026, 1, 31), 2, "111111111111") << 2026 << 4 << QList<int> {28};
        QTest::newRow("31st, January and March: the clamp of February carries on")
            << rule(QDate(2026, 1, 31), 2, "101000000000") << 2026 << 3 << QList<int> {28};
        QTest::newRow("every 10 days") << rule(QDate(2026, 2, 25), 4, {}, 10, Recurrence::Day) << 2026 << 3
                                       << QList<int> {7, 17, 27};
        QTest::newRow("every 5 minutes since 2020: each day, bounded")
            << rule(QDate(2020, 1, 1), 4, {}, 5, Recurrence::Minute) << 2026 << 2
            << QList<int> {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25,
                   26, 27, 28};
        QTest::newRow("every 2 months") << rule(QDate(2026, 1, 15), 4, {}, 2, Recurrence::Month) << 2026 << 5
                                        << QList<int> {15};
        QTest::newRow("yearly 29 February, a non-leap year: the 28th")
            << rule(QDate(2024, 2, 29), 3) << 2027 << 2 << QList<int> {28};
        QTest::newRow("a rule that does not move shows once")
            << rule(QDate(2026, 3, 3), 4, {}, 0, Recurrence::Day) << 2026 << 3 << QList<int> {3};
        NoteRule ending = rule(QDate(2026, 3, 2), 1);
        ending.end = QDate(2026, 3, 20);
        QTest::newRow("up to its end") << ending << 2026 << 3 << QList<int> {2, 9, 16};
    }

    void daysOfAMonth()
    {
        QFETCH(NoteRule, note);
        QFETCH(int, year);
        QFETCH(int, month);
        QFETCH(QList<int>, expected);
        QCOMPARE(days(MonthOccurrences::daysInMonth(note, year, month)), expected);
    }

    // A weekly note at 02:30 through the night the clocks go forward in Paris keeps its days, the
    // change day included (the local time skipped that night is still a day of the note).
    void acrossDaylightSaving()
    {
        const QByteArray old = qgetenv("TZ");
        qputenv("TZ", "Europe/Paris");
        tzset();
        NoteRule weekly = rule(QDate(2026, 3, 15), 1);
        weekly.time = QTime(2, 30);
        QCOMPARE(days(MonthOccurrences::daysInMonth(weekly, 2026, 3)), QList<int>({15, 22, 29}));
        QCOMPARE(days(MonthOccurrences::daysInMonth(weekly, 2026, 4)), QList<int>({5, 12, 19, 26}));
        qputenv("TZ", old);
        if (old.isEmpty())
            qunsetenv("TZ");
        tzset();
    }

    // The grid of a month: its first cell by the week's first day, ISO week numbers by the row's
    // Thursday whatever the first day, and the cell of a date.
    void gridOfAMonth()
    {
        const MonthLayout monday(2026, 11, 0);
        QCOMPARE(monday.dateAt(0, 0), QDate(2026, 10, 26));
        QCOMPARE(monday.weekNumber(0), 44);
        QCOMPARE(monday.weekNumber(5), 49);
        QCOMPARE(monday.cellOf(QDate(2026, 11, 25)), std::make_pair(4, 2));
        QCOMPARE(monday.cellOf(QDate(2026, 12, 31)), std::make_pair(-1, -1));
        const MonthLayout sunday(2026, 11, 6); // 1 November 2026 is a Sunday
        QCOMPARE(sunday.dateAt(0, 0), QDate(2026, 11, 1));
        QCOMPARE(sunday.weekdayOf(0), 7);
        QCOMPARE(sunday.weekNumber(0), 45);    // its Thursday, 5 November
        const MonthLayout january(2027, 1, 0); // 1 January 2027, a Friday, is in week 53 of 2026
        QCOMPARE(january.dateAt(0, 0), QDate(2026, 12, 28));
        QCOMPARE(january.weekNumber(0), 53);
    }

    // From the database: a weekly note on its weekdays with its alarm's time, a birthday with the
    // age it gives that day, a one-off note of another month left out.
    void occurrencesFromTheDatabase()
    {
        setUp();
        auto db = makeMdb();
        QVERIFY(db->MdbInit());
        Note weekly = Note::blank(QDate(2026, 2, 23));
        weekly.Alarme = true;
        weekly.fields.alarm = WallClock::make(QDate(2026, 2, 23), QTime(7, 15));
        weekly.fields.behaviour = 1;
        weekly.fields.frequency = Recurrence::Weekly;
        weekly.objects.text()->Texte = QStringLiteral("Piscine");
        QVERIFY(NoteStore::write(*db, weekly));
        Note birthday = Note::blank(QDate(1990, 3, 12));
        birthday.fields.behaviour = 1;
        birthday.fields.frequency = Recurrence::Yearly;
        birthday.BirthDay = QDate(1990, 3, 12);
        birthday.objects.text()->Texte = QStringLiteral("Anniversaire de Léa");
        QVERIFY(NoteStore::write(*db, birthday));
        Note other = Note::blank(QDate(2026, 4, 1));
        QVERIFY(NoteStore::write(*db, other));

        const auto month = MonthOccurrences::inMonth(*db, 2026, 3);
        QStringList seen;
        for (const auto& o : month)
            seen << QStringLiteral("%1 %2 %3 %4")
                        .arg(o.day.day())
                        .arg(o.text)
                        .arg(o.alarm.isValid() ? o.alarm.toString(QStringLiteral("HH:mm")) : QStringLiteral("-"))
                        .arg(o.age);
        QCOMPARE(seen,
            QStringList({"2 Piscine 07:15 -1", "9 Piscine 07:15 -1", "12 Anniversaire de Léa - 36",
                "16 Piscine 07:15 -1", "23 Piscine 07:15 -1", "30 Piscine 07:15 -1"}));
        db.reset();
        home.reset();
    }

    // The build's table: Easter Monday in France and Thanksgiving in the United States for a
    // known year; a country the table lacks loads as no holidays; a missing table says why.
    void holidays()
    {
        const QString table = QStringLiteral(TAPISOL_HOLIDAYS_FILE);
        HolidayTable france;
        QVERIFY(france.load(table, QStringLiteral("fr")));
        QVERIFY(france.covers());
        QCOMPARE(france.nameOn(QDate(2026, 4, 6)), QStringLiteral("Lundi de Pâques"));
        QCOMPARE(france.nameOn(QDate(2026, 4, 7)), QString());
        QCOMPARE(france.inMonth(2026, 5).size(), 4); // 1st, 8th, Ascension, Whit Monday
        HolidayTable us;
        QVERIFY(us.load(table, QStringLiteral("US")));
        QCOMPARE(us.nameOn(QDate(2026, 11, 26)), QStringLiteral("Thanksgiving"));
        HolidayTable nowhere;
        QVERIFY(nowhere.load(table, QStringLiteral("ZZ")));
        QVERIFY(!nowhere.covers());
        QString error;
        QVERIFY(!nowhere.load(QStringLiteral("/nonexistent/holidays.tsv"), QStringLiteral("FR"), &error));
        QVERIFY(error.contains(QLatin1String("/nonexistent/holidays.tsv")));
    }
};

QTEST_GUILESS_MAIN(TestCalendar)
#include "tst_calendar.moc"
