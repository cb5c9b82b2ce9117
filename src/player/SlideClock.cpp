#include "SlideClock.h"

#include <algorithm>

SlideClock::SlideClock(const SlideshowPlan& plan)
    : m_plan(plan)
{ }

void SlideClock::start(qint64 now)
{
    m_origin = now;
    m_stoppedAt = 0;
    m_paused = m_held = false;
}

qint64 SlideClock::showTime(qint64 now) const
{
    return running() ? now - m_origin : m_stoppedAt;
}

void SlideClock::stopAt(qint64 now, qint64 showMs)
{
    m_stoppedAt = showMs;
    m_origin = now - showMs;
}

void SlideClock::pause(qint64 now)
{
    if (m_paused)
        return;
    qint64 t = showTime(now);
    // A pause in a transition stops on the slide that comes, not on a blend of two.
    const SlideshowPlan::Moment moment = m_plan.at(t);
    if (!m_held && !moment.ended && moment.transition < 1.0 && !m_plan.isEmpty())
        t = m_plan.slide(moment.slide).startMs + m_plan.slide(moment.slide).transitionMs;
    stopAt(now, t);
    m_paused = true;
}

void SlideClock::resume(qint64 now)
{
    if (!m_paused)
        return;
    m_paused = false;
    if (running())
        m_origin = now - m_stoppedAt;
}

void SlideClock::hold(qint64 now)
{
    if (m_held)
        return;
    const qint64 t = showTime(now);
    const SlideshowPlan::Moment moment = m_plan.at(t);
    stopAt(now, moment.ended || m_plan.isEmpty() ? t : m_plan.slide(moment.slide).startMs);
    m_held = true;
}

void SlideClock::release(qint64 now)
{
    if (!m_held)
        return;
    m_held = false;
    if (running())
        m_origin = now - m_stoppedAt;
}

void SlideClock::jumpTo(int slide, qint64 now)
{
    if (m_plan.isEmpty())
        return;
    if (slide >= m_plan.count()) {
        stopAt(now, m_plan.durationMs());
        return;
    }
    const PlannedSlide& target = m_plan.slide(slide);
    // Paused, the user wants to see the slide they asked for, not the first frame of its fade.
    const qint64 t = m_paused ? target.startMs + target.transitionMs : target.startMs;
    stopAt(now, t);
}

void SlideClock::next(qint64 now)
{
    const SlideshowPlan::Moment moment = at(now);
    if (!moment.ended)
        jumpTo(moment.slide + 1, now);
}

void SlideClock::previous(qint64 now)
{
    const SlideshowPlan::Moment moment = at(now);
    jumpTo(moment.ended ? moment.slide : std::max(0, moment.slide - 1), now);
}

qint64 SlideClock::untilShowTime(qint64 now, qint64 showMs) const
{
    if (!running())
        return -1;
    return std::max<qint64>(0, showMs - showTime(now));
}
