#pragma once

#include <QString>

// Run at log-on: the XDG autostart entry $XDG_CONFIG_HOME/autostart/tapisol.desktop, which starts the
// program with "/start". Desktops that switch an entry off without deleting it (Hidden=true, or
// X-GNOME-Autostart-enabled=false) are understood: such an entry counts as absent.
namespace Autostart {

/// Path of the entry for the current $XDG_CONFIG_HOME.
QString entryPath();

/// True when the entry exists and is not switched off.
bool isEnabled();

/// The entry's text for the program at `programPath` (absolute).
QString entryText(const QString& programPath);

/// Writes the entry atomically for `programPath` (the running program when empty). On failure
/// returns false and, when `error` is given, says why.
bool add(const QString& programPath = QString(), QString* error = nullptr);

/// Deletes the entry; true when it is gone afterwards.
bool remove(QString* error = nullptr);

} // namespace Autostart
