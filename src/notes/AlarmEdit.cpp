#include "AlarmEdit.h"

#include "InterfaceTexts.h"
#include "WallClock.h"

namespace AlarmEdit {

namespace {

constexpr int TextHour = 2760;
constexpr int TextMinute = 2761;
constexpr int TextDate = 2762;
constexpr int TextRepeatInterval = 2763;
constexpr int TextEnd = 2764;
constexpr int TextWeekDays = 2765;
constexpr int TextMonths = 2766;
constexpr int TextNoteInterval = 2767;
constexpr int TextFrequency = 2768;

// A minute-by-minute series left alone for months is the longest walk to the present; past this
// many steps the time is kept and shows at once instead.
constexpr int MaxSteps = 200000;

QString flagsOf(const QList<bool>& boxes, int count)
{
    QString flags(count, QLatin1Char('0'));
    for (int i = 0; i < count && i < boxes.size(); ++i) {
        if (boxes.at(i))
            flags[i] = QLatin1Char('1');
    }
    return flags;
}

bool anyTicked(const QList<bool>& boxes, int count)
{
    return flagsOf(boxes, count).contains(QLatin1Char('1'));
}

// The next time of the series to come after `now`, from `origin`; nothing when it cannot be
// reached in MaxSteps.
std::optional<QDateTime> nextToCome(const Recurrence::AlarmFields& fields, QDateTime origin, const QDateTime& now)
{
    QString flags;
    if (fields.frequency == Recurrence::WeekDays)
        flags = fields.weekDays;
    else if (fields.frequency == Recurrence::Months)
        flags = fields.months.value_or(QString(12, QLatin1Char('1')));
    for (int step = 0; step < MaxSteps && origin <= now; ++step) {
        const QDateTime next = Recurrence::nextDate(
            origin, fields.frequency, flags, fields.noteInterval.value_or(0), fields.noteUnit.value_or(0));
        if (next <= origin)
            return std::nullopt; // an unknown mode or unit would loop for ever
        origin = next;
    }
    return origin > now ? std::optional(origin) : std::nullopt;
}

} // namespace

QDateTime Choice::alarmAt() const
{
    if (!date.isValid() || hour < 0 || hour > 23 || minute < 0 || minute > 59)
        return {};
    return WallClock::make(date, QTime(hour, minute));
}

QString weekDaysFlags(const QList<bool>& days)
{
    return flagsOf(days, 7);
}

QString monthsFlags(const QList<bool>& months)
{
    return flagsOf(months, 12);
}

QList<bool> boxesOf(const QString& flags, int count)
{
    QList<bool> boxes;
    for (int i = 0; i < count; ++i)
        boxes << (i < flags.size() && flags.at(i) == QLatin1Char('1'));
    return boxes;
}

Choice choiceOf(bool alarme, const Recurrence::AlarmFields& fields, const QDateTime& fallback)
{
    Choice choice;
    choice.alarme = alarme;
    const QDateTime at = fields.alarm && fields.alarm->isValid() ? *fields.alarm : fallback;
    choice.date = at.date();
    choice.hour = at.time().hour();
    choice.minute = at.time().minute();
    choice.repeats = fields.repeats.value_or(false);
    choice.repeatInterval = qMax(1, fields.repeatInterval.value_or(choice.repeatInterval));
    choice.repeatUnit = qBound(0, fields.repeatUnit.value_or(choice.repeatUnit), int(Recurrence::Year));
    choice.hasEnd = fields.end && fields.end->isValid();
    choice.end = choice.hasEnd ? *fields.end : QDateTime();
    choice.behaviour = fields.behaviour == 1 ? 1 : 0;
    choice.frequency = qBound(0, fields.frequency, int(Recurrence::Every));
    choice.weekDays = boxesOf(fields.weekDays, 7);
    choice.months = boxesOf(fields.months.value_or(QString()), 12);
    choice.noteInterval = qMax(1, fields.noteInterval.value_or(choice.noteInterval));
    choice.noteUnit = qBound(0, fields.noteUnit.value_or(choice.noteUnit), int(Recurrence::Year));
    return choice;
}

Refusal check(const Choice& c)
{
    if (!c.alarme)
        return {};
    if (!c.date.isValid())
        return {Field::Date, TextDate};
    if (c.hour < 0 || c.hour > 23)
        return {Field::Hour, TextHour};
    if (c.minute < 0 || c.minute > 59)
        return {Field::Minute, TextMinute};
    if (c.repeats && (c.repeatInterval < 1 || c.repeatUnit < 0 || c.repeatUnit > Recurrence::Year))
        return {Field::RepeatInterval, TextRepeatInterval};
    if (c.hasEnd && (!c.end.isValid() || c.end < c.alarmAt()))
        return {Field::End, TextEnd};
    if (c.behaviour == 1) {
        if (c.frequency < Recurrence::WeekDays || c.frequency > Recurrence::Every)
            return {Field::Frequency, TextFrequency};
        if (c.frequency == Recurrence::WeekDays && !anyTicked(c.weekDays, 7))
            return {Field::WeekDays, TextWeekDays};
        if (c.frequency == Recurrence::Months && !anyTicked(c.months, 12))
            return {Field::Months, TextMonths};
        if (c.frequency == Recurrence::Every && (c.noteInterval < 1 || c.noteUnit < 0 || c.noteUnit > Recurrence::Year))
            return {Field::NoteInterval, TextNoteInterval};
    }
    return {};
}

QString reason(const Refusal& refusal)
{
    return refusal ? langText(refusal.text) : QString();
}

Timing setAlarm(Recurrence::AlarmFields& fields, bool& alarme, const QDateTime& wallAlarm, const QDateTime& wallNow)
{
    if (!wallAlarm.isValid()) {
        alarme = false;
        fields.active = false;
        fields.alarm.reset();
        fields.origin.reset();
        return Timing::Off;
    }
    alarme = true;
    fields.alarm = wallAlarm;
    fields.origin = wallAlarm;
    fields.active = true;
    if (!fields.date.isValid() || wallAlarm.date() > fields.date)
        fields.date = wallAlarm.date();
    if (wallAlarm > wallNow)
        return Timing::Future;
    if (fields.behaviour != 1)
        return Timing::ShowsAtOnce;
    const auto next = nextToCome(fields, wallAlarm, wallNow);
    if (!next)
        return Timing::ShowsAtOnce;
    fields.alarm = *next;
    fields.origin = *next;
    fields.date = next->date();
    if (fields.end && fields.end->isValid() && *next > *fields.end) {
        fields.active = false;
        return Timing::Ended;
    }
    return Timing::MovedToNext;
}

Timing apply(const Choice& c, Recurrence::AlarmFields& fields, bool& alarme, const QDateTime& wallNow, bool reset)
{
    fields.repeats = c.repeats;
    fields.repeatInterval = c.repeatInterval;
    fields.repeatUnit = c.repeatUnit;
    fields.end = c.hasEnd && c.end.isValid() ? std::optional(c.end) : std::nullopt;
    fields.behaviour = c.behaviour;
    fields.frequency = c.frequency;
    fields.weekDays = weekDaysFlags(c.weekDays);
    fields.months = monthsFlags(c.months);
    fields.noteInterval = c.noteInterval;
    fields.noteUnit = c.noteUnit;
    if (!c.alarme)
        return setAlarm(fields, alarme, QDateTime(), wallNow);
    const QDateTime at = c.alarmAt();
    if (reset || !alarme || !fields.alarm || *fields.alarm != at)
        return setAlarm(fields, alarme, at, wallNow);
    return timingOf(alarme, fields, wallNow);
}

Timing timingOf(bool alarme, const Recurrence::AlarmFields& fields, const QDateTime& wallNow)
{
    if (!alarme || !fields.alarm || !fields.alarm->isValid())
        return Timing::Off;
    if (!fields.active)
        return Timing::Shown;
    return *fields.alarm > wallNow ? Timing::Future : Timing::ShowsAtOnce;
}

} // namespace AlarmEdit
