#pragma once

#include <QList>
#include <QString>

#include <functional>

// What the tray icon's context menu shows, built afresh on each right click from the program's
// state, so that captions, check marks and hot-key texts are never stale.
struct TrayMenuEntry
{
    QString key;           // "Param", "AutoOn", ...; "-" for a separator; empty for unnamed items
    int captionNumber = 0; // interface text of the caption
    int command = -1;      // command run by the dispatcher; -1 for a separator
    bool checkable = false;
    bool checked = false;
    QString shortcutText; // shown after a tab: the hot key, or "F1" for help

    bool isSeparator() const { return command < 0; }
};

struct TrayMenuState
{
    bool autoMode = true;
    bool projectDefined = false; // a slideshow project can serve as the picture source
    bool sourceIsProject = false;
    bool agendaOnDesktop = false;
    bool quietAll = false;
};

/// Reads a numbered setting as an integer (the hot-key pairs).
using SettingReader = std::function<int(int number)>;

/// The entries of the menu, in order, separators included.
QList<TrayMenuEntry> buildTrayMenu(const TrayMenuState& state, const SettingReader& setting);
