#include "AutoModeSchedule.h"

void AutoModeSchedule::turn(bool on, const QDateTime& now, int intervalMinutes)
{
    m_on = on;
    if (on)
        restart(now, intervalMinutes);
}

bool AutoModeSchedule::isDue(const QDateTime& now) const
{
    return m_on && m_next.isValid() && now >= m_next;
}

void AutoModeSchedule::restart(const QDateTime& now, int intervalMinutes)
{
    m_next = now.addSecs(qint64(intervalMinutes) * 60);
}

bool AutoModeSchedule::clampAfterClockChange(const QDateTime& now, int intervalMinutes)
{
    if (!m_on || !m_next.isValid() || now.secsTo(m_next) <= qint64(intervalMinutes) * 60)
        return false;
    restart(now, intervalMinutes);
    return true;
}

qint64 AutoModeSchedule::secondsLeft(const QDateTime& now) const
{
    if (!m_on || !m_next.isValid())
        return 0;
    return qMax<qint64>(0, now.secsTo(m_next));
}
