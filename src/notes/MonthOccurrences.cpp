#include "MonthOccurrences.h"

#include "ClsMdb.h"
#include "JetValues.h"
#include "Trace.h"
#include "WallClock.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

#include <algorithm>

namespace MonthOccurrences {

namespace {

// Enough for a month of a note that recurs every minute, or fifty years of monthly steps.
constexpr int MaxSteps = 50000;

// Steps that keep a fixed length (minutes to weeks) can be skipped over in one go: the first
// occurrence at or after `from` is start + k steps.
qint64 fixedStepSeconds(const NoteRule& rule)
{
    switch (rule.mode) {
    case Recurrence::Weekly:
        return 7 * 86400;
    case Recurrence::Every:
        switch (rule.unit) {
        case Recurrence::Minute:
            return qint64(rule.interval) * 60;
        case Recurrence::Hour:
            return qint64(rule.interval) * 3600;
        case Recurrence::Day:
            return qint64(rule.interval) * 86400;
        case Recurrence::Week:
            return qint64(rule.interval) * 7 * 86400;
        default:
            return 0;
        }
    default:
        return 0;
    }
}

int age(const QDate& birth, const QDate& day)
{
    if (!birth.isValid() || day < birth)
        return -1;
    int years = day.year() - birth.year();
    if (day.month() < birth.month() || (day.month() == birth.month() && day.day() < birth.day()))
        --years;
    return years;
}

} // namespace

QList<QDate> daysInMonth(const NoteRule& rule, int year, int month)
{
    const QDate first(year, month, 1);
    const QDate last = first.addMonths(1).addDays(-1);
    QList<QDate> days;
    if (!rule.date.isValid() || rule.date > last)
        return days;
    if (!rule.recurring) {
        if (rule.date >= first)
            days << rule.date;
        return days;
    }
    QDateTime at = WallClock::make(rule.date, rule.time.isValid() ? rule.time : QTime(12, 0));
    const QDateTime from = WallClock::make(first);
    if (const qint64 step = fixedStepSeconds(rule); step > 0 && at < from) {
        // Weekdays recur weekly too: the skip keeps whole weeks so the phase stays.
        const qint64 behind = at.secsTo(from);
        at = at.addSecs((behind / step) * step);
    } else if (rule.mode == Recurrence::WeekDays && at < from) {
        at = at.addDays(((at.daysTo(from)) / 7) * 7);
    }
    for (int steps = 0; steps < MaxSteps && at.date() <= last; ++steps) {
        if (rule.end.isValid() && at.date() > rule.end)
            break;
        if (at.date() >= first && (days.isEmpty() || days.last() != at.date()))
            days << at.date();
        const QDateTime next = Recurrence::nextDate(at, rule.mode, rule.flags, rule.interval, rule.unit);
        if (next <= at)
            break; // a rule that does not move (no interval, unknown mode) stops here
        at = next;
    }
    return days;
}

QList<Occurrence> inMonth(ClsMdb& db, int year, int month)
{
    QList<Occurrence> found;
    const QDate first(year, month, 1);
    try {
        // One-off notes of the month, and every recurring note that starts before its end.
        MdbQuery rows = db.query(
            "SELECT Numero, Date, Alarme, DateAlarme, Comportement, Frequence, FreqJours, FreqMois, "
            "NoteRepInterval, NoteRepFreq, DateAlarmeFin, BirthDay, "
            "(SELECT Texte FROM AlarmeTxt WHERE NumeroNote = Agenda.Numero AND ObjType = 1 ORDER BY Numero LIMIT 1) "
            "FROM Agenda WHERE (Date >= ?1 AND Date < ?2) OR (Comportement = 1 AND Date < ?2)");
        WallClock::bind(*rows, 1, WallClock::make(first));
        WallClock::bind(*rows, 2, WallClock::make(first.addMonths(1)));
        while (rows->executeStep()) {
            NoteRule rule;
            rule.Numero = rows->getColumn(0).getInt64();
            rule.date = WallClock::dateOf(rows->getColumn(1)).date();
            const QDateTime alarm
                = Jet::boolOf(rows->getColumn(2)) ? WallClock::dateOf(rows->getColumn(3)) : QDateTime();
            rule.time = alarm.isValid() ? alarm.time() : QTime();
            rule.recurring = rows->getColumn(4).getInt() == 1;
            rule.mode = rows->getColumn(5).getInt();
            if (rule.mode == Recurrence::WeekDays)
                rule.flags = Jet::textOf(rows->getColumn(6));
            else if (rule.mode == Recurrence::Months)
                rule.flags = Jet::textOf(rows->getColumn(7), QString(12, QLatin1Char('1')));
            rule.interval = int(Jet::longOf(rows->getColumn(8)));
            rule.unit = int(Jet::longOf(rows->getColumn(9)));
            rule.end = WallClock::dateOf(rows->getColumn(10)).date();
            rule.birth = WallClock::dateOf(rows->getColumn(11)).date();
            rule.text = Jet::textOf(rows->getColumn(12));
            for (const QDate& day : daysInMonth(rule, year, month)) {
                Occurrence occurrence {day, rule.Numero, rule.text, {}, age(rule.birth, day), rule.recurring};
                if (rule.time.isValid())
                    occurrence.alarm = WallClock::make(day, rule.time);
                found << occurrence;
            }
        }
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("AG Month %1-%2, Err %3").arg(year).arg(month).arg(QString::fromUtf8(e.what())));
    }
    std::sort(found.begin(), found.end(), [](const Occurrence& a, const Occurrence& b) {
        return a.day != b.day ? a.day < b.day : a.alarm.time() < b.alarm.time();
    });
    return found;
}

} // namespace MonthOccurrences
