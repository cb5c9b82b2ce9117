#pragma once

#include <QRect>

class ClsMdb;
class QPainter;

// The month calendar drawn on the desktop (command 7): the month of today with its notes and
// public holidays in the calendar's look, today framed, and the next five alarms under it, on a
// panel as opaque as BackgroundTransp says, at the corner of the monitor chosen in the settings.
namespace DesktopCalendar {

/// Where the panel goes in a monitor of `area` (corner 0 top left, 1 top right, 2 bottom left,
/// 3 bottom right).
QRect panelRect(const QRect& area, int corner);

/// Draws the calendar over the wallpaper: `area` is the monitor's canvas.
void paint(QPainter& painter, const QRect& area, ClsMdb& db);

} // namespace DesktopCalendar
