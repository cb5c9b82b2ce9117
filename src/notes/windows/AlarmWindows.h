#pragma once

#include "NoteAlarms.h"

#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

class ClsMdb;
class FrmAlarme;
struct Note;

// The alarm windows of the program: the scan opens one for each due note, and what the user does
// in them (dismiss, remind later, move the alarm, move the window) reaches the database here.
// Several can be open at once; a note renumbered or deleted meanwhile is followed.
class AlarmWindows : public QObject
{
    Q_OBJECT

public:
    struct Hooks
    {
        /// Edits the alarm of a note; true with `note` changed when the user accepted.
        std::function<bool(QWidget* parent, Note& note)> changeAlarm;
        /// Opens the note editor on a note.
        std::function<void(qint64 numero, const QDate& day)> openNote;
    };

    explicit AlarmWindows(ClsMdb& db, QObject* parent = nullptr);
    ~AlarmWindows() override;

    void setHooks(Hooks hooks) { m_hooks = std::move(hooks); }

    /// One pass of the alarm scan at the local time `now`.
    void scanDue(const QDateTime& now);

    /// Opens the alarm window of note `numero` (or brings forward the one already open).
    FrmAlarme* open(qint64 numero);

    /// Closes every alarm window for the program's end: their notes are armed again, so they
    /// open at the next start.
    void closeAllForExit();

    /// The windows open now.
    QList<FrmAlarme*> windows() const;

    /// Where a note's window goes: its saved place when it has one that is still on a screen,
    /// else the standard size at the standard place of the monitor under the mouse, moved down a
    /// little for each window already open there.
    QRect placeFor(const Note& note) const;

private:
    void dismiss(FrmAlarme* window);
    void snooze(FrmAlarme* window, int minutes);
    void changeAlarm(FrmAlarme* window);
    void follow(qint64 oldNumero, qint64 newNumero);
    void playSound(FrmAlarme* window);
    QImage picture(const QString& path, const QSize& box);

    ClsMdb& m_db;
    AlarmScan m_scan;
    Hooks m_hooks;
    QList<QPointer<FrmAlarme>> m_windows;
};
