#pragma once

#include "Note.h"

#include <QList>
#include <QObject>
#include <QRect>

#include <optional>

class ClsMdb;

// Reading and writing whole notes in the database. Every write happens in one transaction: a
// kill at any moment leaves the old note or the new one, never neither and never both. A
// database held by another program is no damage: the write is refused, nothing is touched, and
// the error says so in words the user understands.
namespace NoteStore {

/// Reads note `numero` with its display objects: the window from the Agenda row, then the
/// AlarmeTxt rows in their order (unknown kinds skipped, a second text refused).
std::optional<Note> read(ClsMdb& db, qint64 numero, QString* error = nullptr);

/// Writes `note`: its old rows (if any) are deleted and it is added anew, so it gets a new
/// number, set in `note.Numero`. Objects without content (an empty text, image or sound path)
/// get no row. Tells NoteEvents. False, with `error` set, when nothing was written.
bool write(ClsMdb& db, Note& note, QString* error = nullptr);

/// Deletes note `numero` and its display objects. Tells NoteEvents.
bool remove(ClsMdb& db, qint64 numero, QString* error = nullptr);

/// Writes the fields the alarm rules change (Date, DateAlarme, DateAlarmeOri, DateAlarmeFin,
/// the repeat and recurrence fields, Alarme, Active) without renumbering the note. Tells
/// NoteEvents.
bool writeAlarm(
    ClsMdb& db, qint64 numero, bool alarme, const Recurrence::AlarmFields& fields, QString* error = nullptr);

/// Writes where the user put the note's window and its size, without renumbering the note.
bool writeGeometry(ClsMdb& db, qint64 numero, const QRect& geometry);

/// The notes of `day`, by alarm time (notes without alarm first), with the text of their text
/// object.
QList<NoteSummary> notesOfDay(ClsMdb& db, const QDate& day);

/// The next `count` armed alarms from `now` (wall clock), soonest first.
QList<NoteSummary> nextAlarms(ClsMdb& db, const QDateTime& now, int count);

/// Whether a note of that number exists.
bool exists(ClsMdb& db, qint64 numero);

} // namespace NoteStore

// What windows holding a note learn from the store: a saved note's new number, a deleted note,
// a note whose alarm fields changed. One object for the program.
class NoteEvents : public QObject
{
    Q_OBJECT

public:
    static NoteEvents& instance();

signals:
    /// Note `oldNumero` (0 for a new note) was written as `newNumero`.
    void noteSaved(qint64 oldNumero, qint64 newNumero);
    /// Note `numero` was deleted.
    void noteRemoved(qint64 numero);
    /// The alarm fields of note `numero` changed in place.
    void alarmChanged(qint64 numero);
};
