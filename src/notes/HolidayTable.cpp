#include "HolidayTable.h"

#include "AppPaths.h"
#include "Trace.h"

#include <QFile>

QString HolidayTable::installedFile()
{
    return AppPaths::readOnlyDataDir() + QStringLiteral("holidays.tsv");
}

bool HolidayTable::load(const QString& file, const QString& country, QString* error)
{
    m_country = country.trimmed().toUpper();
    m_covered = false;
    m_days.clear();
    QFile table(file);
    if (!table.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(file, table.errorString());
        TAPISOL_TRACE(QStringLiteral("AG Holidays ") + file + QStringLiteral(": ") + table.errorString());
        return false;
    }
    const QByteArray prefix = m_country.toLatin1() + '\t';
    while (!table.atEnd()) {
        const QByteArray line = table.readLine().trimmed();
        if (!line.startsWith(prefix))
            continue;
        const QList<QByteArray> fields = line.split('\t');
        if (fields.size() != 3)
            continue; // a damaged line costs that holiday only
        m_covered = true;
        const QString name = QString::fromUtf8(fields.at(1));
        for (const QByteArray& text : fields.at(2).split(' ')) {
            const QDate day = QDate::fromString(QString::fromLatin1(text), QStringLiteral("yyyyMMdd"));
            if (!day.isValid())
                continue;
            QString& names = m_days[day];
            names = names.isEmpty() ? name : names + QStringLiteral(" / ") + name;
        }
    }
    return true;
}

QMap<QDate, QString> HolidayTable::inMonth(int year, int month) const
{
    const QDate first(year, month, 1);
    QMap<QDate, QString> days;
    for (auto it = m_days.lowerBound(first); it != m_days.end() && it.key() < first.addMonths(1); ++it)
        days.insert(it.key(), it.value());
    return days;
}
