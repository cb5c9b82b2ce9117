#pragma once

#include "WallpaperBackend.h"

#include <QByteArray>
#include <QStringList>

#include <memory>
#include <vector>

namespace WallpaperBackends {

// What the session says about itself, gathered in one place so that the choice can be tested.
struct Session
{
    QString forced;              // a back end name the user asked for; empty or "auto" lets the session decide
    QStringList desktops;        // XDG_CURRENT_DESKTOP's items, then XDG_SESSION_DESKTOP, DESKTOP_SESSION; lower case
    QString sessionType;         // XDG_SESSION_TYPE: "x11", "wayland", "tty" or empty
    QByteArray display;          // DISPLAY
    QByteArray waylandDisplay;   // WAYLAND_DISPLAY
    QByteArray swaySocket;       // SWAYSOCK
    QByteArray hyprlandInstance; // HYPRLAND_INSTANCE_SIGNATURE
    QString runtimeDir;          // XDG_RUNTIME_DIR
    QStringList busNames;        // names owned or activatable on the session bus

    /// The session of this process. TAPISOL_WALLPAPER_BACKEND, when set, wins over `settingsChoice`
    /// (the value kept in the settings), so that tests and a user trying a back end need not
    /// touch the settings. Asks the session bus for its names (bounded to a second).
    static Session fromEnvironment(const QString& settingsChoice = {});

    bool isWayland() const;
    /// Whether one of the desktop names is `name` (case ignored).
    bool runs(const QString& name) const;
    bool hasBusName(const QString& name) const { return busNames.contains(name); }
};

/// The names a back end can be forced with, in the order they are asked when none is forced.
QStringList names();

/// The back ends that claim `session` from what it says of itself, in order, before any is asked
/// whether it really runs; `refusals` (if given) receives why the others do not.
QStringList claimants(const Session& session, QStringList* refusals = nullptr);

// The back ends usable in a session, in order: apply() tries each until one succeeds. Its name is
// the first one's. What failed on the way is kept for the caller to trace.
class BackendChain final : public WallpaperBackend
{
public:
    BackendChain(std::vector<std::unique_ptr<WallpaperBackend>> backends, QString emptyReason);

    QString name() const override;
    bool isAvailable(QString* reason = nullptr) const override;
    bool apply(const WallpaperTarget& target, QString* error) override;
    std::unique_ptr<PreparedWallpaper> prepare(
        const QImage& picture, const WallpaperTarget& target, QString* error) override;
    bool handsOverFile() const override;
    bool readsBmp() const override;
    bool hasLockScreen() const override;

    /// The names of the back ends, in the order they are tried.
    QStringList memberNames() const;
    /// "<name>: <reason>" for each back end that failed in the last apply(), even when a later
    /// one succeeded.
    QStringList lastFailures() const { return m_failures; }

private:
    std::vector<std::unique_ptr<WallpaperBackend>> m_backends;
    QString m_emptyReason;
    QStringList m_failures;
};

/// The back ends for `session`: the forced one alone when its name is known (even if it cannot
/// run, so that its own error is reported); otherwise every one that claims the session and says
/// it runs here, in order. On a desktop that draws its own background (GNOME, Plasma, XFCE...)
/// the bare X root is left out, since a picture there would be hidden: with nothing else usable
/// the chain fails every change and the previous wallpaper stays. `description` (if given)
/// receives the choice and the reasons of the others, for one trace line.
std::unique_ptr<BackendChain> choose(const Session& session, QString* description = nullptr);

} // namespace WallpaperBackends
