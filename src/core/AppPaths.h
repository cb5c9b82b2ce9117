#pragma once

#include <QString>

// Where Tapisol keeps its files on Linux.
//  - The writable "installation folder" (database, log, rendered wallpaper, thumbnails):
//    $XDG_DATA_HOME/Orvenne/Tapisol/, created with mode 0700.
//  - The read-only data (language tables, media, help): $TAPISOL_DATA_DIR when set, otherwise
//    share/tapisol beside the program's bin folder (build tree and installed prefix alike).
//  - The per-session runtime folder for the instance lock and socket: $XDG_RUNTIME_DIR.
namespace AppPaths {

/// Writable data folder, with a trailing '/'. Created on first use.
QString dataDir();

/// Read-only data folder, with a trailing '/'.
QString readOnlyDataDir();

/// Folder of the interface language files, with a trailing '/'.
QString languageDir();

/// Per-user runtime folder (lock, socket), with a trailing '/'.
QString runtimeDir();

/// Folder the program runs from.
QString programDir();

} // namespace AppPaths
