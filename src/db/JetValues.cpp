#include "JetValues.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

#include <cmath>

namespace Jet {

namespace {

constexpr qint64 MsPerDay = 24LL * 60 * 60 * 1000;

QDate epoch()
{
    return QDate(1899, 12, 30);
}

} // namespace

double toOaDate(const QDateTime& local)
{
    if (!local.isValid())
        return 0.0;
    const QDateTime inLocal = local.toLocalTime();
    return toOaDate(inLocal.date(), inLocal.time());
}

double toOaDate(const QDate& date, const QTime& time)
{
    if (!date.isValid())
        return 0.0;
    const qint64 days = epoch().daysTo(date);
    const double fraction = double(time.isValid() ? time.msecsSinceStartOfDay() : 0) / double(MsPerDay);
    return days >= 0 ? double(days) + fraction : double(days) - fraction;
}

std::optional<std::pair<QDate, QTime>> oaParts(double value)
{
    if (!std::isfinite(value) || value < -657434.0 || value >= 2958466.0)
        return std::nullopt;
    double whole = std::trunc(value);
    qint64 ms = std::llround(std::fabs(value - whole) * double(MsPerDay));
    if (ms >= MsPerDay) { // rounding reached midnight: it is the next day
        ms = 0;
        whole += value >= 0 ? 1 : -1;
    }
    return std::pair(epoch().addDays(qint64(whole)), QTime::fromMSecsSinceStartOfDay(int(ms)));
}

QDateTime fromOaDate(double value)
{
    const auto parts = oaParts(value);
    return parts ? QDateTime(parts->first, parts->second) : QDateTime();
}

QString startsWith(const QString& expression, const QString& parameter, bool ignoreCase)
{
    // substr() and length() count characters alike, and nothing in the bound text is a pattern.
    return QStringLiteral("(substr(%1, 1, length(%2)) = %2%3)")
        .arg(expression, parameter, ignoreCase ? QStringLiteral(" COLLATE NOCASE") : QString());
}

void bindText(SQLite::Statement& statement, int index, const QString& value)
{
    if (value.isNull())
        statement.bind(index);
    else
        statement.bind(index, value.toStdString());
}

void bindTextOrNull(SQLite::Statement& statement, int index, const QString& value)
{
    if (value.isEmpty())
        statement.bind(index);
    else
        statement.bind(index, value.toStdString());
}

void bindDate(SQLite::Statement& statement, int index, const QDateTime& value)
{
    if (value.isValid())
        statement.bind(index, toOaDate(value));
    else
        statement.bind(index);
}

void bindBool(SQLite::Statement& statement, int index, bool value)
{
    statement.bind(index, fromBool(value));
}

QString textOf(const SQLite::Column& column, const QString& ifNull)
{
    if (column.isNull())
        return ifNull;
    const char* text = column.getText();
    return QString::fromUtf8(text, column.getBytes());
}

QDateTime dateOf(const SQLite::Column& column)
{
    if (column.isNull())
        return {};
    return fromOaDate(column.getDouble());
}

bool boolOf(const SQLite::Column& column, bool ifNull)
{
    return column.isNull() ? ifNull : toBool(column.getInt64());
}

long long longOf(const SQLite::Column& column, long long ifNull)
{
    return column.isNull() ? ifNull : column.getInt64();
}

double doubleOf(const SQLite::Column& column, double ifNull)
{
    return column.isNull() ? ifNull : column.getDouble();
}

} // namespace Jet
