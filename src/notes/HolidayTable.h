#pragma once

#include <QDate>
#include <QMap>
#include <QString>

// The public holidays of one country, read from the table the build makes from Debian's
// python3-holidays (scripts/gen-holidays.py): one line a holiday name of a country, its dates as
// YYYYMMDD. Only the chosen country's lines are kept.
class HolidayTable
{
public:
    /// The table installed with the program.
    static QString installedFile();

    /// Reads the holidays of `country` (ISO 3166-1 code, case ignored) from `file`. False, with
    /// the reason in `error`, when the file cannot be read; a country the table does not cover
    /// loads as no holidays and covers() says so.
    bool load(const QString& file, const QString& country, QString* error = nullptr);

    /// Whether the table has the country at all.
    bool covers() const { return m_covered; }

    /// The holiday's name on `day`, empty when it is none (several names are joined by " / ").
    QString nameOn(const QDate& day) const { return m_days.value(day); }

    /// The holidays of a month, by day.
    QMap<QDate, QString> inMonth(int year, int month) const;

    QString country() const { return m_country; }

private:
    QString m_country;
    bool m_covered = false;
    QMap<QDate, QString> m_days;
};
