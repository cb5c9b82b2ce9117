#pragma once

#include "SlideRenderer.h"
#include "SlideshowPlan.h"

class ClsRegistryBase;

// The player's settings of the Diaporama group, read once at its start. The player only reads
// them: the tray and the assistant own them.
struct PlayerSettings
{
    PlanSettings plan;
    RenderOptions render;
    qint64 projectKey = 0; // `ProjectKey`
    int typeProject = 0;   // `TypeProject` (PlayerHandOff::ProjectType)
    bool multiMonitor = false;
    int apercuMonitor = 0; // index among the screens
    bool toolsHide = true; // the tool bar hides after `toolsSeconds`
    int toolsSeconds = 5;
    bool cycle = false; // `Cycle`: the show starts again after its last slide

    static PlayerSettings read(const ClsRegistryBase& settings);

    /// The index among `screenCount` screens the show goes to: `ApercuMonitor` when the
    /// assistant previews or when `MultiMonitor` is set, otherwise `primary`. An index past the
    /// screens falls back to `primary`.
    int screenIndex(bool preview, int screenCount, int primary) const;
};
