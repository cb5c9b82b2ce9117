#include "MonthLayout.h"

#include <QtGlobal>

MonthLayout::MonthLayout(int year, int month, int dayStart)
    : m_year(year)
    , m_month(month)
    , m_dayStart(qBound(0, dayStart, 6))
{
    const QDate firstOfMonth(year, month, 1);
    const int column = (firstOfMonth.dayOfWeek() - 1 - m_dayStart + 7) % 7;
    m_first = firstOfMonth.addDays(-column);
}

std::pair<int, int> MonthLayout::cellOf(const QDate& date) const
{
    const qint64 index = m_first.daysTo(date);
    if (index < 0 || index >= Rows * Columns)
        return {-1, -1};
    return {int(index / Columns), int(index % Columns)};
}

int MonthLayout::weekNumber(int row) const
{
    // The ISO week of a row is that of its Thursday, wherever the week starts.
    for (int column = 0; column < Columns; ++column) {
        if (dateAt(row, column).dayOfWeek() == Qt::Thursday)
            return dateAt(row, column).weekNumber();
    }
    return dateAt(row, 0).weekNumber();
}
