#pragma once

#include <QDate>

// The six weeks of a month grid: the first column is the week's first day (DayStart: 0 Monday,
// 1 Tuesday, ..., 6 Sunday), the first row holds the month's first day, and each row carries its
// ISO week number (that of the row's Thursday).
class MonthLayout
{
public:
    static constexpr int Rows = 6;
    static constexpr int Columns = 7;

    MonthLayout(int year, int month, int dayStart);

    QDate dateAt(int row, int column) const { return m_first.addDays(row * Columns + column); }
    /// The cell of `date`, or (-1, -1) when it is not in the grid.
    std::pair<int, int> cellOf(const QDate& date) const;
    int weekNumber(int row) const;
    bool inMonth(const QDate& date) const { return date.year() == m_year && date.month() == m_month; }
    /// The weekday (1 Monday ... 7 Sunday) of column `column`.
    int weekdayOf(int column) const { return (m_dayStart + column) % 7 + 1; }

    int year() const { return m_year; }
    int month() const { return m_month; }

private:
    int m_year;
    int m_month;
    int m_dayStart;
    QDate m_first; // the grid's first cell
};
