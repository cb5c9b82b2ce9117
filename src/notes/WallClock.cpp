#include "WallClock.h"

#include "JetValues.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

#include <QTimeZone>

namespace WallClock {

QDateTime make(const QDate& date, const QTime& time)
{
    return QDateTime(date, time.isValid() ? time : QTime(0, 0), QTimeZone::utc());
}

QDateTime of(const QDateTime& local)
{
    if (!local.isValid())
        return {};
    const QDateTime inLocal = local.timeSpec() == Qt::LocalTime ? local : local.toLocalTime();
    return make(inLocal.date(), inLocal.time());
}

QDateTime toLocal(const QDateTime& wall)
{
    if (!wall.isValid())
        return {};
    QDateTime local(wall.date(), wall.time());
    // A time the clocks skip: step forward a minute at a time to the first one they show.
    for (int minutes = 1; !local.isValid() && minutes <= 180; ++minutes) {
        const QDateTime later = wall.addSecs(minutes * 60);
        local = QDateTime(later.date(), later.time());
    }
    return local;
}

double toOa(const QDateTime& wall)
{
    return wall.isValid() ? Jet::toOaDate(wall.date(), wall.time()) : 0.0;
}

QDateTime fromOa(double value)
{
    const auto parts = Jet::oaParts(value);
    return parts ? make(parts->first, parts->second) : QDateTime();
}

QDateTime dateOf(const SQLite::Column& column)
{
    return column.isNull() ? QDateTime() : fromOa(column.getDouble());
}

void bind(SQLite::Statement& statement, int index, const QDateTime& wall)
{
    if (wall.isValid())
        statement.bind(index, toOa(wall));
    else
        statement.bind(index);
}

} // namespace WallClock
