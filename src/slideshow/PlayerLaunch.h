#pragma once

#include <QString>
#include <QStringList>

class ClsRegistryBase;

// Starting the slideshow player `defilor` from the program's folder, as a process of its own with
// an argument list (never through a shell). PlayerHandOff.h says what the arguments and the
// settings mean to the player.
namespace PlayerLaunch {

/// The arguments the project assistant passes: "/preview" when it previews, "/trace" when
/// tracing, "/tpdiaporama" and the launch token, in that order.
QStringList assistantArguments(bool preview, bool trace);

/// The arguments the tray passes: "/trace" when tracing, then "/tpdiaporama". No token: the player
/// plays what its settings already name.
QStringList trayArguments(bool trace);

/// Hands stored project `projectKey` to the player: writes `ProjectKey` and `TypeProject` in
/// `settings` and onto the disk, then starts the player with assistantArguments(). False, with
/// `error` set and the player not started, when the settings cannot be written or the player
/// cannot be started. `programDir` empty: the program's own folder.
bool playProject(ClsRegistryBase& settings, qint64 projectKey, bool preview, bool trace, QString* error = nullptr,
    const QString& programDir = {});

/// Command 4 of the tray: starts the player with trayArguments(); the settings are left as they are.
bool playFromTray(bool trace, QString* error = nullptr, const QString& programDir = {});

/// Starts `defilor` of `programDir` (empty: the program's own folder) with `arguments`.
bool start(const QStringList& arguments, QString* error = nullptr, const QString& programDir = {});

} // namespace PlayerLaunch

/// What the player reads from its command line.
struct PlayerArguments
{
    bool preview = false;
    bool trace = false;
    bool tpdiaporama = false;
    bool tokenValid = false; // the launch token is there, with the expected value
};

/// Reads the player's switches. Each argument is compared whole, ignoring case; the program's own
/// name may come first; anything else is ignored.
PlayerArguments parsePlayerArguments(const QStringList& arguments);
