#pragma once

#include <QDateTime>
#include <QString>

#include <optional>
#include <utility>

namespace SQLite {
class Statement;
class Column;
} // namespace SQLite

// The values of the database as the rest of the program sees them, and the Jet meanings that the
// queries keep on SQLite:
//  - booleans are -1 (true) and 0 (false);
//  - dates are the floating-point date of the platform: days since 30 December 1899 in local time,
//    the time of day as the fraction; before that day the whole part counts back and the fraction
//    still counts forward (-1.25 is 29 December 1899 at 06:00);
//  - `Like 'x*'` is a literal prefix match (see startsWith()).
// Every value reaches SQL as a bound parameter, never as SQL text.
namespace Jet {

inline constexpr int True = -1;
inline constexpr int False = 0;

/// -1 or 0.
constexpr int fromBool(bool value)
{
    return value ? True : False;
}

/// Any value other than 0 is true, as the engine reads it.
constexpr bool toBool(long long value)
{
    return value != 0;
}

/// The floating-point date of a local date and time; 0 for an invalid one.
double toOaDate(const QDateTime& local);

/// The floating-point date of a date and a time of day as they read on the wall clock, whether or
/// not that local time exists (a time skipped by a daylight-saving change still has its value).
double toOaDate(const QDate& date, const QTime& time);

/// The date and the time of day of a floating-point date, to the millisecond; nothing outside the
/// years 100 to 9999.
std::optional<std::pair<QDate, QTime>> oaParts(double value);

/// The local date and time of a floating-point date, to the millisecond. Invalid when the value
/// lies outside the years 100 to 9999, as the platform's dates do.
QDateTime fromOaDate(double value);

/// SQL condition: `expression` starts with the text bound to parameter `parameter`, every character
/// taken literally (`%`, `_`, `*` and `\` included). Case is ignored only when
/// `ignoreCase` (for names people type; paths compare exactly). The parameter appears twice, so it
/// must be numbered or named ("?1", ":path"), never a bare "?".
QString startsWith(const QString& expression, const QString& parameter, bool ignoreCase = false);

/// Binds a text: a null QString binds NULL, an empty one binds "".
void bindText(SQLite::Statement& statement, int index, const QString& value);

/// Binds a text, or NULL when it is empty (for columns that refuse zero-length texts).
void bindTextOrNull(SQLite::Statement& statement, int index, const QString& value);

/// Binds a date as its floating-point value, or NULL when it is invalid.
void bindDate(SQLite::Statement& statement, int index, const QDateTime& value);

/// Binds -1 or 0.
void bindBool(SQLite::Statement& statement, int index, bool value);

/// A text column; Null reads as `ifNull`.
QString textOf(const SQLite::Column& column, const QString& ifNull = {});

/// A date column; Null reads as an invalid date.
QDateTime dateOf(const SQLite::Column& column);

/// A boolean column; Null reads as `ifNull`.
bool boolOf(const SQLite::Column& column, bool ifNull = false);

/// A number column; Null reads as `ifNull`.
long long longOf(const SQLite::Column& column, long long ifNull = 0);
double doubleOf(const SQLite::Column& column, double ifNull = 0.0);

} // namespace Jet
