#pragma once

#include <QDateTime>

// When the next automatic wallpaper change falls due.
//
// The next change is "now + interval" each time auto mode starts or a change is made. A clock
// that jumps (suspend and resume, a manual change) is handled so that a change that fell due
// while asleep happens once, and a clock set back never postpones the change past one interval.
class AutoModeSchedule
{
public:
    /// Starts or stops auto mode; starting sets the next change to now + interval.
    void turn(bool on, const QDateTime& now, int intervalMinutes);

    /// Whether a change is due at `now` (never when auto mode is off).
    bool isDue(const QDateTime& now) const;

    /// After a change: the next one is an interval from now.
    void restart(const QDateTime& now, int intervalMinutes);

    /// Pulls a next change that lies more than one interval ahead back to now + interval (the clock
    /// went backwards). Returns true when it moved.
    bool clampAfterClockChange(const QDateTime& now, int intervalMinutes);

    /// Seconds left before the next change; 0 when due or off.
    qint64 secondsLeft(const QDateTime& now) const;

    bool isOn() const { return m_on; }
    QDateTime nextChange() const { return m_next; }

private:
    bool m_on = false;
    QDateTime m_next;
};
