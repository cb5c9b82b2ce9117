#pragma once

#include "Recurrence.h"

#include <QDate>
#include <QList>
#include <QString>

class ClsMdb;

// The days of a month that hold notes, recurring notes included: a note recurs from its own day
// (its next occurrence) on, stepped by NextDate with its mode, flags, interval and unit, up to
// its end date. Only the month asked for is computed, and the stepping is bounded, so a note that
// recurs every minute or never ends costs no more than a month's worth.
namespace MonthOccurrences {

struct Occurrence
{
    QDate day;
    qint64 Numero = 0;
    QString text;
    QDateTime alarm; // wall clock; invalid when the note has no alarm
    int age = -1;    // a birthday note's age that day
    bool recurring = false;
};

/// The note's recurrence as the calendar needs it.
struct NoteRule
{
    qint64 Numero = 0;
    QString text;
    QDate date;             // the note's day: its next occurrence
    QTime time;             // the alarm's time of day, invalid without alarm
    bool recurring = false; // Comportement 1
    int mode = 0;           // Frequence
    QString flags;          // FreqJours or FreqMois as the mode reads them
    int interval = 0;
    int unit = 0;
    QDate end;   // DateAlarmeFin's day; invalid: no end
    QDate birth; // BirthDay; invalid: no birthday
};

/// The days of `year`/`month` on which `rule` falls, in order.
QList<QDate> daysInMonth(const NoteRule& rule, int year, int month);

/// Every occurrence of every note in the month, by day then time.
QList<Occurrence> inMonth(ClsMdb& db, int year, int month);

} // namespace MonthOccurrences
