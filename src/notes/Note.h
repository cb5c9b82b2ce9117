#pragma once

#include "NoteObjects.h"
#include "Recurrence.h"

#include <QDateTime>

// One note as a window shows or edits it: its Agenda row and its display objects. Dates and times
// are wall-clock values (see WallClock.h).
struct Note
{
    /// The note's number; 0 while it has never been written. Every save gives a new one.
    qint64 Numero = 0;
    /// Alarme: the note carries an alarm.
    bool Alarme = false;
    /// The note's day, its alarm and recurrence fields, and Active.
    Recurrence::AlarmFields fields;
    /// BirthDay: the day of birth of a birthday note; invalid when the note is no birthday.
    QDate BirthDay;
    /// The window, text, image and sound.
    ClsColData objects;

    /// A new note of `day`, with a window object and a text object made from the settings' defaults.
    static Note blank(const QDate& day);

    /// The note's text (the text object's), empty when it has none.
    QString text() const;

    /// The age a birthday note gives on `day` (whole years since BirthDay), or -1.
    int ageOn(const QDate& day) const;
};

/// A note as a day's list shows it.
struct NoteSummary
{
    qint64 Numero = 0;
    QString text;
    bool alarm = false;
    bool active = false;
    QDateTime alarmAt; // wall clock; invalid when none
    bool recurring = false;
};
