#pragma once

#include "WallpaperEngine.h"

#include <QDateTime>

// What the tray shell asks of the subsystems it drives every second. Each subsystem installs its
// own implementation; until then the do-nothing one below stands in, so the dispatcher never
// needs to know which subsystems exist.

class AlarmScanner
{
public:
    virtual ~AlarmScanner() = default;
    /// Opens a window for every note whose alarm is due at `now`.
    virtual void scanDueAlarms(const QDateTime& now) = 0;
};

class Chime
{
public:
    virtual ~Chime() = default;
    /// Starts the chime when a quarter or an hour is reached.
    virtual void check(const QDateTime& now) = 0;
    /// Paces the strikes of a chime in progress (every two seconds).
    virtual void strike() = 0;
};

class NoAlarmScanner : public AlarmScanner
{
public:
    void scanDueAlarms(const QDateTime&) override { }
};
