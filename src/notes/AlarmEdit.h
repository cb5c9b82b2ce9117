#pragma once

#include "Recurrence.h"

#include <QDateTime>
#include <QList>

// What the note editor and the alarm-change dialog write when the user sets a note's alarm,
// repeat and recurrence: the choice read from the controls, the refusals shown beside them, and
// the fields the choice gives. Every date and time is a wall-clock value (WallClock.h).
namespace AlarmEdit {

/// The control a refusal belongs to.
enum class Field
{
    None,
    Date,
    Hour,
    Minute,
    RepeatInterval,
    End,
    Frequency,
    WeekDays,
    Months,
    NoteInterval,
};

/// What setting the alarm leads to, for the line that tells the user.
enum class Timing
{
    Off,         // no alarm
    Future,      // shown when its time comes
    ShowsAtOnce, // a one-off time already past: shown as soon as it is written
    MovedToNext, // a recurring time already past: moved to the series' next time to come
    Ended,       // a recurring time moved past its end: the series is over
    Shown,       // left as it was after it showed: it does not come back until its time changes
};

/// The alarm as the controls hold it.
struct Choice
{
    bool alarme = false;
    QDate date;
    int hour = 9;
    int minute = 0;
    bool repeats = false;
    int repeatInterval = 10;
    int repeatUnit = Recurrence::Minute;
    bool hasEnd = false;
    QDateTime end;
    int behaviour = 0;
    int frequency = Recurrence::WeekDays;
    QList<bool> weekDays; // Monday first
    QList<bool> months;   // January first
    int noteInterval = 1;
    int noteUnit = Recurrence::Day;

    QDateTime alarmAt() const;
};

/// A refused choice: the control to point at and the number of the text that says why.
struct Refusal
{
    Field field = Field::None;
    int text = 0;
    explicit operator bool() const { return field != Field::None; }
};

/// "1010000" from check boxes: '1' for each box ticked, in order; missing boxes count as unticked.
QString weekDaysFlags(const QList<bool>& days);
QString monthsFlags(const QList<bool>& months);
/// The boxes of a flags string, `count` of them.
QList<bool> boxesOf(const QString& flags, int count);

/// The choice a note's fields show. A note without alarm time offers `fallback` (its date and
/// time); Null repeat and recurrence fields offer their usual values.
Choice choiceOf(bool alarme, const Recurrence::AlarmFields& fields, const QDateTime& fallback);

/// The first reason to refuse `choice`, if any. A choice without alarm is never refused.
Refusal check(const Choice& choice);

/// The refusal's words, in the interface language.
QString reason(const Refusal& refusal);

/// Sets the alarm to `wallAlarm` (DateAlarme and DateAlarmeOri), active. A note whose alarm
/// comes after its day moves to the alarm's day, since the scan would show it at once otherwise.
/// A time already past stays for a one-off note (it shows at once) and moves on to the next time
/// to come for a recurring one. An invalid time turns the alarm off.
Timing setAlarm(Recurrence::AlarmFields& fields, bool& alarme, const QDateTime& wallAlarm, const QDateTime& wallNow);

/// Writes a checked `choice` into the fields. The alarm time is set anew (setAlarm) when `reset`
/// or when it differs from the fields' own; otherwise DateAlarme and Active stay as they are, so
/// that an alarm already shown does not come back because its text was edited.
Timing apply(
    const Choice& choice, Recurrence::AlarmFields& fields, bool& alarme, const QDateTime& wallNow, bool reset = false);

/// What the fields lead to now, as apply() would have reported it.
Timing timingOf(bool alarme, const Recurrence::AlarmFields& fields, const QDateTime& wallNow);

} // namespace AlarmEdit
