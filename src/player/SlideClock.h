#pragma once

#include "SlideshowPlan.h"

// Which slide shows, and how far its transition is, at a given moment of a monotonic clock (in
// milliseconds; the caller reads the clock, so that tests step it). The show's own time runs while
// the clock is neither paused by the user nor held by the player (a picture still being decoded);
// the user's jumps start the target slide with its transition, or, while paused, show it whole.
class SlideClock
{
public:
    explicit SlideClock(const SlideshowPlan& plan);

    /// Starts the show at its first slide.
    void start(qint64 now);

    /// The user's pause; resuming goes on from where the show stood. A pause during a transition
    /// shows the coming slide whole.
    void pause(qint64 now);
    void resume(qint64 now);
    bool isPaused() const { return m_paused; }

    /// Stops the show's time at the start of the slide showing then (a slide whose picture is not
    /// ready yet keeps its whole time), until release().
    void hold(qint64 now);
    void release(qint64 now);
    bool isHeld() const { return m_held; }

    /// The next slide now; on the last slide, the end of the show.
    void next(qint64 now);
    /// The slide before; on the first slide, that slide again from its start.
    void previous(qint64 now);

    /// The show's own time at `now`.
    qint64 showTime(qint64 now) const;
    SlideshowPlan::Moment at(qint64 now) const { return m_plan.at(showTime(now)); }

    /// How long from `now` until the show's time reaches `showMs`; -1 while it stands still.
    qint64 untilShowTime(qint64 now, qint64 showMs) const;

private:
    bool running() const { return !m_paused && !m_held; }
    void stopAt(qint64 now, qint64 showMs);
    void jumpTo(int slide, qint64 now);

    const SlideshowPlan& m_plan;
    qint64 m_origin = 0;    // while running: the clock's value when the show's time was 0
    qint64 m_stoppedAt = 0; // while stopped: the show's time
    bool m_paused = false;
    bool m_held = false;
};
