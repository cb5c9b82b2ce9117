#pragma once

#include <QDateTime>

// What the tray shell asks of the subsystems it drives every second. Each subsystem installs its
// own implementation; until then the do-nothing ones below stand in, so the dispatcher never
// needs to know which subsystems exist.

class WallpaperEngine
{
public:
    virtual ~WallpaperEngine() = default;
    /// Picks the next picture of the current source and applies it; false when nothing changed.
    virtual bool changeToNext() = 0;
    /// Applies the last rendered wallpaper again (start-up without a change).
    virtual void reapply() = 0;
    /// The monitors changed: the wallpaper must be fitted and applied again.
    virtual void monitorsChanged() = 0;
    /// One line about the picture on screen, for the icon's tip.
    virtual QString currentDescription() const = 0;
};

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

class NoWallpaperEngine : public WallpaperEngine
{
public:
    bool changeToNext() override { return false; }
    void reapply() override { }
    void monitorsChanged() override { }
    QString currentDescription() const override { return {}; }
};

class NoAlarmScanner : public AlarmScanner
{
public:
    void scanDueAlarms(const QDateTime&) override { }
};

class NoChime : public Chime
{
public:
    void check(const QDateTime&) override { }
    void strike() override { }
};
