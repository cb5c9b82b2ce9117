#pragma once

#include "AutoModeSchedule.h"

#include <QString>

#include <functional>

class WallpaperEngine;
class AlarmScanner;
class Chime;

// What the one-second dispatcher needs from the windows around it.
class TrayView
{
public:
    virtual ~TrayView() = default;
    /// Number of loaded forms, for the trace.
    virtual int loadedFormCount() const = 0;
    /// The about box suspends the alarm scan while it is open.
    virtual bool aboutBoxOpen() const = 0;
    /// Shows the seconds left before the next change in the settings dialog, when it is open.
    virtual void showSecondsLeft(qint64 seconds) = 0;
    /// Sets the icon's tip text (already on one line).
    virtual void setTipText(const QString& text) = 0;
    /// Refreshes the clock line of the calendar window, when it is open.
    virtual void refreshCalendarClock() = 0;
};

// The work of the tray's one-second timer, in its fixed order: trace, alarm scan, countdown in the
// settings dialog, the automatic wallpaper change, the icon's tip, the chime, the calendar clock.
class SecondDispatcher
{
public:
    struct Parts
    {
        TrayView* view = nullptr;
        WallpaperEngine* wallpaper = nullptr;
        AlarmScanner* alarms = nullptr;
        Chime* chime = nullptr;
        AutoModeSchedule* schedule = nullptr;
        std::function<int()> intervalMinutes; // read each tick: the settings dialog may change it
    };

    explicit SecondDispatcher(Parts parts);

    /// One tick, at the clock's current time.
    void tick();

    /// The tip text for a state: line ends become blanks.
    static QString tipText(const QString& title, const QString& wallpaper, bool autoMode, qint64 secondsLeft);

private:
    Parts m_parts;
    bool m_inTick = false;
};
