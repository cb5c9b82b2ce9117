#pragma once

#include "Recurrence.h"

#include <QList>

#include <functional>

class ClsMdb;

// The alarm fields of the notes in the database, the rules run when an alarm window is closed,
// and the scan that finds the notes whose alarm is due. Dates are wall-clock values.
namespace NoteAlarms {

/// The alarm fields of note `numero`; nothing when there is no such note or the read fails.
std::optional<Recurrence::AlarmFields> load(ClsMdb& db, qint64 numero);

/// Writes the fields the closing rules change (Date, DateAlarme, DateAlarmeOri, Active).
bool store(ClsMdb& db, qint64 numero, const Recurrence::AlarmFields& note);

/// The user dismissed the alarm window of note `numero` at `now` (wall clock): the closing
/// rules run and their result is stored. False when the note is gone or could not be written.
bool dismiss(ClsMdb& db, qint64 numero, const QDateTime& now);

/// The user put the alarm off to `until` (wall clock): DateAlarme moves there and the note is
/// active again; its origin and recurrence stay as they are, and the closing rules wait for the
/// snoozed alarm's own dismissal.
bool snooze(ClsMdb& db, qint64 numero, const QDateTime& until);

} // namespace NoteAlarms

// The scan run by the one-second dispatcher. Each due note is made inactive and stored before
// its window is opened, so it opens once per fall-due; notes that fell due while the machine
// slept or the program was not running open at the next scan.
//
// The alarm query has two halves: alarms whose time has come, and alarms whose day lies after the
// note's own day (shown at once, whatever the hour). Only the first depends on the clock; the
// second changes only when the notes do. So the whole query runs when the database changed since
// the last full pass (this program's writes or another connection's), and otherwise only the
// first half, a range on the IndAlarme index: a tick costs a few microseconds with any number of
// notes.
class AlarmScan
{
public:
    using Opener = std::function<void(qint64 numero)>;

    AlarmScan(ClsMdb& db, Opener open);

    /// One pass at `now` (wall clock): opens every due note. Returns how many were opened.
    int run(const QDateTime& now);

    /// Makes the next pass run the whole query (tests, or after an error).
    void invalidate() { m_changeStamp = 0; }

    /// Whether the last pass ran the whole query.
    bool lastPassWasFull() const { return m_lastFull; }

private:
    struct Candidate
    {
        qint64 numero;
        Recurrence::AlarmFields fields;
    };
    QList<Candidate> candidates(const QDateTime& now, bool full);
    quint64 changeStamp() const;

    ClsMdb& m_db;
    Opener m_open;
    quint64 m_changeStamp = 0; // the database's state at the last full pass; 0 before any
    bool m_lastFull = false;
};
