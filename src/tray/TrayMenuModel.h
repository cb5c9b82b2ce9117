#pragma once

#include <QList>
#include <QString>

#include <functional>

// What the tray icon's context menu shows, computed from the program's state whenever it may have
// changed, so that captions, check marks and hot-key texts are never stale (a StatusNotifierItem
// host reads the entries before it shows them).
struct TrayMenuEntry
{
    QString key;           // "Param", "AutoOn", ...; "-" for a separator; empty for unnamed items
    int captionNumber = 0; // interface text of the caption
    int command = -1;      // command run by the dispatcher; -1 for a separator
    bool checkable = false;
    bool checked = false;
    bool enabled = true;
    QString shortcutText;    // shown after a tab: the hot key, or "F1" for help
    int hotkeyModifiers = 0; // the same key as stored, for menus that show shortcuts themselves
    int hotkeyCode = 0;

    bool isSeparator() const { return command < 0; }
};

struct TrayMenuState
{
    bool autoMode = true;
    bool projectDefined = false; // a slideshow project can serve as the picture source
    bool sourceIsProject = false;
    bool agendaOnDesktop = false;
    bool quietAll = false;
    bool defaultIsAlbum = false; // the base the quick access returns to is an album or a page
};

/// Reads a numbered setting as an integer (the hot-key pairs).
using SettingReader = std::function<int(int number)>;

/// The entries of the menu, in order, separators included.
QList<TrayMenuEntry> buildTrayMenu(const TrayMenuState& state, const SettingReader& setting);
