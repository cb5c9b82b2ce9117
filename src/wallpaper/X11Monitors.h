#pragma once

#include "ClsMonitor.h"

#include <optional>

// The monitors as the X server's RandR extension lists them, for a process that runs without a
// Qt GUI application (`tapisol --apply`): starting one costs more than setting the wallpaper.
// The work area of a single monitor comes from the window manager's _NET_WORKAREA.
// Empty when there is no display to ask.
std::optional<QList<ClsMonitor::Record>> x11Monitors();
