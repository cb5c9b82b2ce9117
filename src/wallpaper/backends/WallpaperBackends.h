#pragma once

#include "WallpaperBackend.h"

#include <QByteArray>
#include <QStringList>

#include <memory>

namespace WallpaperBackends {

// What the session says about itself, gathered in one place so that the choice can be tested.
struct Session
{
    QString forced;            // a back end name the user asked for; empty or "auto" lets the session decide
    QString currentDesktop;    // XDG_CURRENT_DESKTOP, e.g. "GNOME" or "KDE"
    QString sessionType;       // XDG_SESSION_TYPE: "x11", "wayland", "tty" or empty
    QByteArray display;        // DISPLAY
    QByteArray waylandDisplay; // WAYLAND_DISPLAY

    /// The session of this process. TAPISOL_WALLPAPER_BACKEND, when set, wins over `settingsChoice`
    /// (the value kept in the settings), so a user can try a back end without touching the settings.
    static Session fromEnvironment(const QString& settingsChoice = {});
};

/// The names a back end can be forced with, in the order they are asked when none is forced.
QStringList names();

/// The back end for `session`: the forced one when its name is known (even if it cannot run, so
/// that its own error is reported), otherwise the first in order that claims the session and says
/// it runs here, otherwise the null back end carrying every refusal. `description` (if given)
/// receives one sentence naming the choice and why, for the trace.
std::unique_ptr<WallpaperBackend> choose(const Session& session, QString* description = nullptr);

} // namespace WallpaperBackends
