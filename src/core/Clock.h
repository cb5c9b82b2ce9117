#pragma once

#include <QDateTime>

// The one source of the current time for everything that happens on time (the one-second
// dispatcher, alarms, the chime, the next wallpaper change), so tests can set it.
class Clock
{
public:
    virtual ~Clock() = default;
    /// The current local date and time.
    virtual QDateTime now() const = 0;
};

/// The clock in use: the system clock unless a test installed its own.
const Clock& appClock();

/// Installs a clock (nullptr restores the system clock). The caller keeps ownership.
void setAppClock(const Clock* clock);
