#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

// When a note's alarm comes back and where a recurring note moves after its alarm was shown. Every
// date and time here is a wall-clock value (WallClock.h), `now` included.
namespace Recurrence {

/// Recurrence modes (`Frequence`).
enum Mode : int
{
    WeekDays = 0, // the chosen days of the week (FreqJours, Monday first)
    Weekly = 1,
    Months = 2, // the chosen months (FreqMois, January first), the same day of the month
    Yearly = 3,
    Every = 4, // every `interval` units
};

/// Units of `Every` (`NoteRepFreq`, `AlarmeRepFreq`).
enum Unit : int
{
    Minute = 0,
    Hour = 1,
    Day = 2,
    Week = 3,
    Month = 4,
    Year = 5,
};

/// The next date from `start` (`NextDate`). Months and years keep the day of the month, clamped to
/// the target month's last day; in the chosen-months mode the clamped day carries on (a note on
/// the 31st drifts to the 28th after February). An unknown mode or unit leaves the date as it is.
QDateTime nextDate(const QDateTime& start, int mode, const QString& flags, int interval, int unit);

// The fields of a note's row that the alarm rules read and write; Null fields are empty optionals.
struct AlarmFields
{
    QDate date;                        // Date: the note's day
    std::optional<QDateTime> alarm;    // DateAlarme
    std::optional<QDateTime> origin;   // DateAlarmeOri
    std::optional<QDateTime> end;      // DateAlarmeFin
    std::optional<bool> repeats;       // AlarmeRepet
    std::optional<int> repeatInterval; // AlarmeRepInterval
    std::optional<int> repeatUnit;     // AlarmeRepFreq
    int behaviour = 0;                 // Comportement: 0 one-off, 1 recurring
    int frequency = 0;                 // Frequence
    QString weekDays;                  // FreqJours
    std::optional<QString> months;     // FreqMois
    std::optional<int> noteInterval;   // NoteRepInterval
    std::optional<int> noteUnit;       // NoteRepFreq
    bool active = false;               // Active
};

/// Schedules the next showing of an alarm that repeats (`RepeatAlarm`); true when it did.
bool repeatAlarm(AlarmFields& note);

/// The rules applied when the user dismisses a note's alarm window at `now`.
void closeAlarm(AlarmFields& note, const QDateTime& now);

/// Whether the scan opens the note's alarm at `now`: active, with a valid alarm that has come, or
/// whose day lies after the note's own day (shown at once, whatever the hour).
bool isDue(const AlarmFields& note, const QDateTime& now);

} // namespace Recurrence
