#include "Recurrence.h"

#include "WallClock.h"

namespace Recurrence {

namespace {

bool chosen(const QString& flags, int position)
{
    return position >= 1 && position <= flags.size() && flags.at(position - 1) == QLatin1Char('1');
}

// QDateTime::addMonths keeps the day and clamps it to the month's last day, as the rule wants.
QDateTime plus(const QDateTime& start, int interval, int unit)
{
    switch (unit) {
    case Minute:
        return start.addSecs(qint64(interval) * 60);
    case Hour:
        return start.addSecs(qint64(interval) * 3600);
    case Day:
        return start.addDays(interval);
    case Week:
        return start.addDays(qint64(interval) * 7);
    case Month:
        return start.addMonths(interval);
    case Year:
        return start.addYears(interval);
    default:
        return start;
    }
}

} // namespace

QDateTime nextDate(const QDateTime& start, int mode, const QString& flags, int interval, int unit)
{
    switch (mode) {
    case WeekDays:
        for (int step = 1; step <= 8; ++step) {
            const QDateTime candidate = start.addDays(step);
            if (chosen(flags, candidate.date().dayOfWeek()))
                return candidate;
        }
        return start.addDays(8);
    case Weekly:
        return start.addDays(7);
    case Months: {
        QDateTime candidate = start;
        for (int step = 1; step <= 12; ++step) {
            candidate = candidate.addMonths(1); // the clamped day carries on
            if (chosen(flags, candidate.date().month()))
                return candidate;
        }
        return candidate;
    }
    case Yearly:
        return start.addYears(1);
    case Every:
        return plus(start, interval, unit);
    default:
        return start;
    }
}

bool repeatAlarm(AlarmFields& note)
{
    if (!note.repeats.value_or(false))
        return false;
    if (!note.alarm || !note.alarm->isValid() || (note.end && *note.alarm == *note.end))
        return false; // the last repeat has been shown
    QDateTime next = nextDate(*note.alarm, Every, {}, note.repeatInterval.value_or(0), note.repeatUnit.value_or(0));
    if (note.end && next > *note.end)
        next = *note.end; // the last repeat falls on the end
    if (!note.origin || !note.origin->isValid())
        note.origin = note.alarm;
    note.alarm = next;
    note.active = true;
    return true;
}

void closeAlarm(AlarmFields& note, const QDateTime& now)
{
    if (note.behaviour == 0) {
        if (repeatAlarm(note))
            return;
        // Moved into the future in the alarm tools: shown again when it comes.
        note.active = note.alarm && note.alarm->isValid() && now.secsTo(*note.alarm) >= 1;
        return;
    }
    if (note.repeats.value_or(false) && repeatAlarm(note))
        return;
    QString flags;
    if (note.frequency == WeekDays)
        flags = note.weekDays;
    else if (note.frequency == Months)
        flags = note.months.value_or(QString(12, QLatin1Char('1')));
    if (!note.origin || !note.origin->isValid())
        note.origin = note.alarm;
    if (!note.origin || !note.origin->isValid()) {
        note.active = false;
        return;
    }
    const QDateTime next
        = nextDate(*note.origin, note.frequency, flags, note.noteInterval.value_or(0), note.noteUnit.value_or(0));
    note.date = next.date();
    note.alarm = WallClock::make(next.date(), note.origin->time());
    note.origin = note.alarm;
    // Past its end date the series is over: one step per closing, and inactive from there.
    note.active = !note.end || !note.end->isValid() || *note.alarm <= *note.end;
}

bool isDue(const AlarmFields& note, const QDateTime& now)
{
    if (!note.active || !note.alarm || !note.alarm->isValid())
        return false;
    return *note.alarm <= now || note.alarm->date() > note.date;
}

} // namespace Recurrence
