// The rules behind the alarm controls: which choices are refused and why, where a new alarm
// time lands (past, future, after the note's day, walked along its series), and what an edit
// that leaves the time alone keeps.
#include "AlarmEdit.h"
#include "WallClock.h"

#include <QtTest>

using AlarmEdit::Choice;
using AlarmEdit::Field;
using AlarmEdit::Timing;

namespace {

QDateTime wall(int year, int month, int day, int hour = 0, int minute = 0)
{
    return WallClock::make(QDate(year, month, day), QTime(hour, minute));
}

Choice alarmAt(const QDateTime& at)
{
    Choice c;
    c.alarme = true;
    c.date = at.date();
    c.hour = at.time().hour();
    c.minute = at.time().minute();
    c.weekDays = AlarmEdit::boxesOf(QStringLiteral("1000000"), 7);
    c.months = AlarmEdit::boxesOf(QStringLiteral("100000000000"), 12);
    return c;
}

} // namespace

class TestAlarmEdit : public QObject
{
    Q_OBJECT

private slots:
    void flags_data()
    {
        QTest::addColumn<QList<bool>>("boxes");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("flags");
        QTest::newRow("Monday and Wednesday")
            << QList<bool> {true, false, true, false, false, false, false} << 7 << QStringLiteral("1010000");
        QTest::newRow("short list padded") << QList<bool> {false, true} << 7 << QStringLiteral("0100000");
        QTest::newRow("Sunday last") << QList<bool> {false, false, false, false, false, false, true} << 7
                                     << QStringLiteral("0000001");
        QTest::newRow("January and December") << QList<bool> {true, false, false, false, false, false, false, false,
            false, false, false, true} << 12 << QStringLiteral("100000000001");
        QTest::newRow("too many boxes cut") << QList<bool>(9, true) << 7 << QStringLiteral("1111111");
    }

    // Boxes to flags and back, Monday and January first.
    void flags()
    {
        QFETCH(QList<bool>, boxes);
        QFETCH(int, count);
        QFETCH(QString, flags);
        QCOMPARE(count == 7 ? AlarmEdit::weekDaysFlags(boxes) : AlarmEdit::monthsFlags(boxes), flags);
        const QList<bool> back = AlarmEdit::boxesOf(flags, count);
        QCOMPARE(back.size(), count);
        QCOMPARE(count == 7 ? AlarmEdit::weekDaysFlags(back) : AlarmEdit::monthsFlags(back), flags);
    }

    void refusals_data()
    {
        QTest::addColumn<Choice>("choice");
        QTest::addColumn<Field>("field");
        const Choice base = alarmAt(wall(2026, 3, 10, 9, 30));
        QTest::newRow("plain alarm") << base << Field::None;
        Choice c = base;
        c.hour = 24;
        QTest::newRow("hour 24") << c << Field::Hour;
        c.hour = -1;
        QTest::newRow("hour -1") << c << Field::Hour;
        c.alarme = false;
        QTest::newRow("no alarm: nothing checked") << c << Field::None;
        c = base;
        c.minute = 60;
        QTest::newRow("minute 60") << c << Field::Minute;
        c.minute = 59;
        QTest::newRow("minute 59") << c << Field::None;
        c = base;
        c.date = QDate();
        QTest::newRow("no date") << c << Field::Date;
        c = base;
        c.repeats = true;
        c.repeatInterval = 0;
        QTest::newRow("repeat every 0") << c << Field::RepeatInterval;
        c.repeats = false;
        QTest::newRow("repeat off, interval ignored") << c << Field::None;
        c = base;
        c.hasEnd = true;
        c.end = wall(2026, 3, 10, 9, 29);
        QTest::newRow("end a minute before") << c << Field::End;
        c.end = wall(2026, 3, 10, 9, 30);
        QTest::newRow("end on the alarm") << c << Field::None;
        c.end = QDateTime();
        QTest::newRow("end without date") << c << Field::End;
        c = base;
        c.behaviour = 1;
        c.weekDays = QList<bool>(7, false);
        QTest::newRow("weekdays, none chosen") << c << Field::WeekDays;
        c.behaviour = 0;
        QTest::newRow("one-off ignores the days") << c << Field::None;
        c = base;
        c.behaviour = 1;
        c.frequency = Recurrence::Months;
        c.months = QList<bool>(12, false);
        QTest::newRow("months, none chosen") << c << Field::Months;
        c.frequency = Recurrence::Every;
        c.noteInterval = 0;
        QTest::newRow("every 0 units") << c << Field::NoteInterval;
        c.frequency = 7;
        QTest::newRow("unknown mode") << c << Field::Frequency;
    }

    void refusals()
    {
        QFETCH(Choice, choice);
        QFETCH(Field, field);
        const AlarmEdit::Refusal refusal = AlarmEdit::check(choice);
        QCOMPARE(refusal.field, field);
        QCOMPARE(bool(refusal), field != Field::None);
        QCOMPARE(refusal.text != 0, field != Field::None);
    }

    void setAlarm_data()
    {
        QTest::addColumn<int>("behaviour");
        QTest::addColumn<int>("frequency");
        QTest::addColumn<QString>("flags");
        QTest::addColumn<int>("interval"); // NoteRepInterval, with NoteRepFreq in minutes
        QTest::addColumn<QDate>("day");
        QTest::addColumn<QDateTime>("alarm");
        QTest::addColumn<QDateTime>("end");
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<Timing>("timing");
        QTest::addColumn<QDateTime>("expected"); // DateAlarme = DateAlarmeOri
        QTest::addColumn<QDate>("expectedDay");
        QTest::addColumn<bool>("active");

        const QDate day(2026, 3, 10);
        const QDateTime none;
        QTest::newRow("one-off, to come")
            << 0 << 0 << "" << 0 << day << wall(2026, 3, 10, 9, 30) << none << wall(2026, 3, 10, 8) << Timing::Future
            << wall(2026, 3, 10, 9, 30) << day << true;
        QTest::newRow("one-off, past: kept, shows at once")
            << 0 << 0 << "" << 0 << day << wall(2026, 3, 10, 7) << none << wall(2026, 3, 10, 8) << Timing::ShowsAtOnce
            << wall(2026, 3, 10, 7) << day << true;
        QTest::newRow("after the note's day: the note follows")
            << 0 << 0 << "" << 0 << day << wall(2026, 3, 12, 9) << none << wall(2026, 3, 10, 8) << Timing::Future
            << wall(2026, 3, 12, 9) << QDate(2026, 3, 12) << true;
        QTest::newRow("the day before: a reminder, the note stays")
            << 0 << 0 << "" << 0 << day << wall(2026, 3, 9, 18) << none << wall(2026, 3, 1) << Timing::Future
            << wall(2026, 3, 9, 18) << day << true;
        QTest::newRow("weekly, past: next week to come")
            << 1 << int(Recurrence::Weekly) << "" << 0 << QDate(2026, 3, 2) << wall(2026, 3, 2, 9) << none
            << wall(2026, 3, 20, 12) << Timing::MovedToNext << wall(2026, 3, 23, 9) << QDate(2026, 3, 23) << true;
        QTest::newRow("Monday and Wednesday, from a Wednesday")
            << 1 << int(Recurrence::WeekDays) << "1010000" << 0 << QDate(2026, 3, 4) << wall(2026, 3, 4, 9, 30) << none
            << wall(2026, 3, 6, 10) << Timing::MovedToNext << wall(2026, 3, 9, 9, 30) << QDate(2026, 3, 9) << true;
        QTest::newRow("every 90 minutes: a time equal to now is past")
            << 1 << int(Recurrence::Every) << "" << 90 << day << wall(2026, 3, 10, 8) << none << wall(2026, 3, 10, 11)
            << Timing::MovedToNext << wall(2026, 3, 10, 12, 30) << day << true;
        QTest::newRow("January and December from the 31st: the clamped day carries on")
            << 1 << int(Recurrence::Months) << "100000000001" << 0 << QDate(2026, 1, 31) << wall(2026, 1, 31, 9) << none
            << wall(2026, 2, 10) << Timing::MovedToNext << wall(2026, 12, 28, 9) << QDate(2026, 12, 28) << true;
        QTest::newRow("yearly across a leap day")
            << 1 << int(Recurrence::Yearly) << "" << 0 << QDate(2024, 2, 29) << wall(2024, 2, 29, 8) << none
            << wall(2026, 1, 1) << Timing::MovedToNext << wall(2026, 2, 28, 8) << QDate(2026, 2, 28) << true;
        QTest::newRow("past its end: the series is over")
            << 1 << int(Recurrence::Weekly) << "" << 0 << QDate(2026, 3, 2) << wall(2026, 3, 2, 9) << wall(2026, 3, 15)
            << wall(2026, 3, 20) << Timing::Ended << wall(2026, 3, 23, 9) << QDate(2026, 3, 23) << false;
        QTest::newRow("recurring, to come: left where it is")
            << 1 << int(Recurrence::Weekly) << "" << 0 << day << wall(2026, 3, 10, 9) << none << wall(2026, 3, 1)
            << Timing::Future << wall(2026, 3, 10, 9) << day << true;
        QTest::newRow("no time: alarm off")
            << 0 << 0 << "" << 0 << day << none << none << wall(2026, 3, 1) << Timing::Off << none << day << false;
    }

    void setAlarm()
    {
        QFETCH(int, behaviour);
        QFETCH(int, frequency);
        QFETCH(QString, flags);
        QFETCH(int, interval);
        QFETCH(QDate, day);
        QFETCH(QDateTime, alarm);
        QFETCH(QDateTime, end);
        QFETCH(QDateTime, now);
        QFETCH(Timing, timing);
        QFETCH(QDateTime, expected);
        QFETCH(QDate, expectedDay);
        QFETCH(bool, active);

        Recurrence::AlarmFields fields;
        fields.date = day;
        fields.behaviour = behaviour;
        fields.frequency = frequency;
        fields.weekDays = flags;
        fields.months = flags;
        fields.noteInterval = interval;
        fields.noteUnit = Recurrence::Minute;
        if (end.isValid())
            fields.end = end;
        bool alarme = false;
        QCOMPARE(AlarmEdit::setAlarm(fields, alarme, alarm, now), timing);
        QCOMPARE(alarme, alarm.isValid());
        QCOMPARE(fields.alarm.value_or(QDateTime()), expected);
        QCOMPARE(fields.origin.value_or(QDateTime()), expected);
        QCOMPARE(fields.date, expectedDay);
        QCOMPARE(fields.active, active);
    }

    // An alarm already shown stays shown when the note is edited without touching its time; a
    // new time (or the dialog's explicit move) sets it again; the alarm turned off clears it.
    void applyKeepsAShownAlarm()
    {
        Recurrence::AlarmFields fields;
        fields.date = QDate(2026, 3, 10);
        fields.alarm = wall(2026, 3, 10, 9);
        fields.origin = fields.alarm;
        fields.active = false;
        bool alarme = true;
        const QDateTime now = wall(2026, 3, 10, 12);
        Choice c = AlarmEdit::choiceOf(alarme, fields, now);
        QCOMPARE(c.hour, 9);
        c.behaviour = 1;
        c.frequency = Recurrence::WeekDays;
        c.weekDays = AlarmEdit::boxesOf(QStringLiteral("1010000"), 7);
        QCOMPARE(AlarmEdit::apply(c, fields, alarme, now), Timing::Shown);
        QVERIFY(!fields.active);
        QCOMPARE(fields.weekDays, QStringLiteral("1010000"));
        QCOMPARE(fields.behaviour, 1);

        QCOMPARE(AlarmEdit::apply(c, fields, alarme, now, true), Timing::MovedToNext);
        QVERIFY(fields.active);
        QCOMPARE(*fields.alarm, wall(2026, 3, 11, 9)); // the 10th is a Tuesday, the 11th a Wednesday

        c.hour = 18;
        c.date = QDate(2026, 3, 11);
        QCOMPARE(AlarmEdit::apply(c, fields, alarme, now), Timing::Future);
        QCOMPARE(*fields.alarm, wall(2026, 3, 11, 18));

        c.alarme = false;
        QCOMPARE(AlarmEdit::apply(c, fields, alarme, now), Timing::Off);
        QVERIFY(!alarme);
        QVERIFY(!fields.active);
        QVERIFY(!fields.alarm);
    }
};

QTEST_GUILESS_MAIN(TestAlarmEdit)
#include "tst_alarmedit.moc"
