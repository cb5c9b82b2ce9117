#include "Clock.h"

namespace {

class SystemClock : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

const SystemClock g_systemClock;
const Clock* g_clock = &g_systemClock;

} // namespace

const Clock& appClock()
{
    return *g_clock;
}

void setAppClock(const Clock* clock)
{
    g_clock = clock ? clock : &g_systemClock;
}
