#pragma once

#include "Recurrence.h"

#include <QList>

#include <functional>

class ClsMdb;

// The alarm fields of the notes in the database, and the scan that finds the notes whose alarm
// is due. The alarm window opens through the callback given to the scan.
namespace NoteAlarms {

/// The alarm fields of note `numero`; nothing when there is no such note or the read fails.
std::optional<Recurrence::AlarmFields> load(ClsMdb& db, qint64 numero);

/// Writes the fields the alarm rules change (Date, DateAlarme, DateAlarmeOri, Active).
bool store(ClsMdb& db, qint64 numero, const Recurrence::AlarmFields& note);

/// The notes due at `now`, in the database's order: the candidates of the alarm query, each
/// checked by Recurrence::isDue.
QList<qint64> due(ClsMdb& db, const QDateTime& now);

/// One pass of the scan: every due note is made inactive (so that the next pass does not open
/// it again) and handed to `open`. Returns how many were opened.
int scan(ClsMdb& db, const QDateTime& now, const std::function<void(qint64 numero)>& open);

} // namespace NoteAlarms
