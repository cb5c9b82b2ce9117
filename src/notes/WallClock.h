#pragma once

#include <QDateTime>

namespace SQLite {
class Statement;
class Column;
} // namespace SQLite

// Notes keep the time the user wrote, as it reads on the wall clock: an alarm set for 09:00 is at
// 09:00 before and after a daylight-saving change, and 02:30 on the night the clocks go forward is
// still a time (the scan reaches it at 03:00, the first instant after it). Every date and time of a
// note is therefore held as a QDateTime in UTC whose fields are the wall-clock reading: arithmetic
// on it is plain calendar arithmetic, and no local time can turn invalid.
namespace WallClock {

/// The wall-clock date and time `date` `time`.
QDateTime make(const QDate& date, const QTime& time = QTime(0, 0));

/// The wall-clock reading of a local (or any) date and time.
QDateTime of(const QDateTime& local);

/// The local date and time at which the wall clock shows `wall`; in a daylight-saving gap, the
/// first valid instant after it.
QDateTime toLocal(const QDateTime& wall);

/// The floating-point date of a wall-clock date and time.
double toOa(const QDateTime& wall);

/// The wall-clock date and time of a floating-point date; invalid outside the years 100 to 9999.
QDateTime fromOa(double value);

/// A date column as a wall-clock date and time; Null reads as invalid.
QDateTime dateOf(const SQLite::Column& column);

/// Binds a wall-clock date and time as its floating-point date, NULL when it is invalid.
void bind(SQLite::Statement& statement, int index, const QDateTime& wall);

} // namespace WallClock
