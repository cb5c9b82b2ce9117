#include "NoteAlarms.h"

#include "ClsMdb.h"
#include "JetValues.h"
#include "Trace.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>

namespace NoteAlarms {

namespace {

std::optional<QDateTime> optionalDate(const SQLite::Column& column)
{
    const QDateTime date = Jet::dateOf(column);
    return date.isValid() ? std::optional(date) : std::nullopt;
}

std::optional<int> optionalNumber(const SQLite::Column& column)
{
    return column.isNull() ? std::nullopt : std::optional(column.getInt());
}

} // namespace

std::optional<Recurrence::AlarmFields> load(ClsMdb& db, qint64 numero)
{
    try {
        MdbQuery query = db.query(
            "SELECT Date, DateAlarme, DateAlarmeOri, DateAlarmeFin, AlarmeRepet, AlarmeRepInterval, AlarmeRepFreq, "
            "Comportement, Frequence, FreqJours, FreqMois, NoteRepInterval, NoteRepFreq, Active "
            "FROM Agenda WHERE Numero = ?");
        query->bind(1, static_cast<int64_t>(numero));
        if (!query->executeStep())
            return std::nullopt;
        Recurrence::AlarmFields note;
        note.date = Jet::dateOf(query->getColumn(0)).date();
        note.alarm = optionalDate(query->getColumn(1));
        note.origin = optionalDate(query->getColumn(2));
        note.end = optionalDate(query->getColumn(3));
        if (!query->getColumn(4).isNull())
            note.repeats = Jet::boolOf(query->getColumn(4));
        note.repeatInterval = optionalNumber(query->getColumn(5));
        note.repeatUnit = optionalNumber(query->getColumn(6));
        note.behaviour = query->getColumn(7).getInt();
        note.frequency = query->getColumn(8).getInt();
        note.weekDays = Jet::textOf(query->getColumn(9));
        if (!query->getColumn(10).isNull())
            note.months = Jet::textOf(query->getColumn(10));
        note.noteInterval = optionalNumber(query->getColumn(11));
        note.noteUnit = optionalNumber(query->getColumn(12));
        note.active = Jet::boolOf(query->getColumn(13));
        return note;
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("NoteAlarms load %1, Err %2").arg(numero).arg(QString::fromUtf8(e.what())));
        return std::nullopt;
    }
}

bool store(ClsMdb& db, qint64 numero, const Recurrence::AlarmFields& note)
{
    try {
        MdbQuery query
            = db.query("UPDATE Agenda SET Date = ?, DateAlarme = ?, DateAlarmeOri = ?, Active = ? WHERE Numero = ?");
        Jet::bindDate(*query, 1, note.date.startOfDay());
        Jet::bindDate(*query, 2, note.alarm.value_or(QDateTime()));
        Jet::bindDate(*query, 3, note.origin.value_or(QDateTime()));
        Jet::bindBool(*query, 4, note.active);
        query->bind(5, static_cast<int64_t>(numero));
        return query->exec() == 1;
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("NoteAlarms store %1, Err %2").arg(numero).arg(QString::fromUtf8(e.what())));
        return false;
    }
}

QList<qint64> due(ClsMdb& db, const QDateTime& now)
{
    QList<qint64> candidates;
    try {
        // The alarm query, Now() being the scan's own clock.
        MdbQuery query = db.query("SELECT Numero FROM Agenda WHERE (Alarme = -1 AND Active = -1 AND DateAlarme <= ?1) "
                                  "OR (Alarme = -1 AND Active = -1 AND DateAlarme > Date)");
        query->bind(1, Jet::toOaDate(now));
        while (query->executeStep())
            candidates << query->getColumn(0).getInt64();
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("NoteAlarms scan, Err %1").arg(QString::fromUtf8(e.what())));
        return {};
    }
    QList<qint64> result;
    for (qint64 numero : std::as_const(candidates)) {
        const auto note = load(db, numero);
        if (note && Recurrence::isDue(*note, now))
            result << numero;
    }
    return result;
}

int scan(ClsMdb& db, const QDateTime& now, const std::function<void(qint64 numero)>& open)
{
    int opened = 0;
    for (qint64 numero : due(db, now)) {
        auto note = load(db, numero);
        if (!note)
            continue;
        note->active = false; // opened once per fall-due
        if (!store(db, numero, *note))
            continue;
        open(numero);
        ++opened;
    }
    return opened;
}

} // namespace NoteAlarms
