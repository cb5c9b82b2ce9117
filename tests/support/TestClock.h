#pragma once

#include "Clock.h"

// A clock that stands still until the test moves it; installed for its lifetime.
class TestClock : public Clock
{
public:
    explicit TestClock(const QDateTime& start)
        : m_now(start)
    {
        setAppClock(this);
    }
    ~TestClock() override { setAppClock(nullptr); }

    QDateTime now() const override { return m_now; }
    void set(const QDateTime& now) { m_now = now; }
    void advanceSeconds(qint64 seconds) { m_now = m_now.addSecs(seconds); }
    void advanceDays(qint64 days) { m_now = m_now.addDays(days); }

private:
    QDateTime m_now;
};
