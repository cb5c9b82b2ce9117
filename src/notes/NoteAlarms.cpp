#include "NoteAlarms.h"

#include "ClsMdb.h"
#include "JetValues.h"
#include "NoteStore.h"
#include "Trace.h"
#include "WallClock.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <QScopeGuard>

#include <sqlite3.h>

namespace NoteAlarms {

std::optional<Recurrence::AlarmFields> load(ClsMdb& db, qint64 numero)
{
    const auto note = NoteStore::read(db, numero);
    return note ? std::optional(note->fields) : std::nullopt;
}

bool store(ClsMdb& db, qint64 numero, const Recurrence::AlarmFields& note)
{
    try {
        MdbQuery query
            = db.query("UPDATE Agenda SET Date = ?, DateAlarme = ?, DateAlarmeOri = ?, Active = ? WHERE Numero = ?");
        WallClock::bind(*query, 1, WallClock::make(note.date));
        WallClock::bind(*query, 2, note.alarm.value_or(QDateTime()));
        WallClock::bind(*query, 3, note.origin.value_or(QDateTime()));
        Jet::bindBool(*query, 4, note.active);
        query->bind(5, static_cast<int64_t>(numero));
        return query->exec() == 1;
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("NoteAlarms store %1, Err %2").arg(numero).arg(QString::fromUtf8(e.what())));
        return false;
    }
}

bool dismiss(ClsMdb& db, qint64 numero, const QDateTime& now)
{
    auto note = load(db, numero);
    if (!note) {
        TAPISOL_TRACE(QStringLiteral("AL Close %1: the note is gone").arg(numero));
        return false;
    }
    Recurrence::closeAlarm(*note, now);
    if (!store(db, numero, *note))
        return false;
    TAPISOL_TRACE(QStringLiteral("AL Close %1: next %2, active %3")
                      .arg(numero)
                      .arg(note->alarm ? note->alarm->toString(QStringLiteral("yyyy-MM-dd HH:mm")) : QString())
                      .arg(note->active));
    emit NoteEvents::instance().alarmChanged(numero);
    return true;
}

bool snooze(ClsMdb& db, qint64 numero, const QDateTime& until)
{
    auto note = load(db, numero);
    if (!note)
        return false;
    note->alarm = until;
    note->active = true;
    if (!store(db, numero, *note))
        return false;
    TAPISOL_TRACE(
        QStringLiteral("AL Snooze %1 until %2").arg(numero).arg(until.toString(QStringLiteral("yyyy-MM-dd HH:mm"))));
    emit NoteEvents::instance().alarmChanged(numero);
    return true;
}

} // namespace NoteAlarms

AlarmScan::AlarmScan(ClsMdb& db, Opener open)
    : m_db(db)
    , m_open(std::move(open))
{ }

quint64 AlarmScan::changeStamp() const
{
    // The file's version moves with every commit, this connection's or another's; the change count
    // with this connection's own writes.
    sqlite3* handle = m_db.database().getHandle();
    unsigned int version = 0;
    sqlite3_file_control(handle, "main", SQLITE_FCNTL_DATA_VERSION, &version);
    return (quint64(version) << 32 | quint64(quint32(sqlite3_total_changes(handle)))) + 1;
}

QList<AlarmScan::Candidate> AlarmScan::candidates(const QDateTime& now, bool full)
{
    // Now() is the scan's own clock, bound as a value.
    static const std::string first = "SELECT Numero, Date, DateAlarme, Active FROM Agenda "
                                     "WHERE Alarme = -1 AND Active = -1 AND DateAlarme <= ?1";
    static const std::string whole = first + " OR (Alarme = -1 AND Active = -1 AND DateAlarme > Date)";
    QList<Candidate> rows;
    MdbQuery query = m_db.query(full ? whole : first);
    query->bind(1, WallClock::toOa(now));
    while (query->executeStep()) {
        Candidate row {query->getColumn(0).getInt64(), {}};
        row.fields.date = WallClock::dateOf(query->getColumn(1)).date();
        row.fields.alarm = WallClock::dateOf(query->getColumn(2));
        row.fields.active = Jet::boolOf(query->getColumn(3));
        rows << row;
    }
    return rows;
}

int AlarmScan::run(const QDateTime& now)
{
    if (!m_db.isOpen())
        return 0;
    QList<Candidate> rows;
    try {
        const quint64 stamp = changeStamp();
        m_lastFull = stamp != m_changeStamp;
        rows = candidates(now, m_lastFull);
        if (m_lastFull)
            m_changeStamp = stamp;
    } catch (const std::exception& e) {
        TAPISOL_TRACE(QStringLiteral("NT Scan, Err %1").arg(QString::fromUtf8(e.what())));
        invalidate();
        return 0;
    }
    int opened = 0;
    for (const Candidate& row : std::as_const(rows)) {
        if (!Recurrence::isDue(row.fields, now))
            continue;
        Recurrence::AlarmFields shown = row.fields;
        try {
            // Made inactive before the window opens: the next tick must not open it again. A file
            // held by another program is not waited for here: the tray would freeze every tick.
            sqlite3_busy_timeout(m_db.database().getHandle(), 0);
            const auto waitAgain
                = qScopeGuard([this] { sqlite3_busy_timeout(m_db.database().getHandle(), MdbFiles::LockWaitMs); });
            MdbQuery off = m_db.query("UPDATE Agenda SET Active = 0 WHERE Numero = ?");
            off->bind(1, static_cast<int64_t>(row.numero));
            off->exec();
        } catch (const std::exception& e) {
            // Another program holds the file: the note stays due and is tried at the next tick.
            TAPISOL_TRACE(
                QStringLiteral("NT Scan %1 not opened, Err %2").arg(row.numero).arg(QString::fromUtf8(e.what())));
            invalidate();
            continue;
        }
        m_open(row.numero);
        ++opened;
    }
    return opened;
}
