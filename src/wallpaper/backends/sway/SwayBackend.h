#pragma once

#include "WallpaperBackend.h"

#include <QByteArray>

// sway and the other compositors that speak its IPC: an "output <name> bg <file> <mode>" command
// sent on the compositor's socket, framed as its IPC wants (magic, length, type, payload).
class SwayBackend final : public WallpaperBackend
{
public:
    /// `socketPath` is the compositor's IPC socket (SWAYSOCK).
    explicit SwayBackend(QString socketPath);

    QString name() const override { return QStringLiteral("sway"); }
    bool isAvailable(QString* reason = nullptr) const override;
    bool apply(const WallpaperTarget& target, QString* error) override;
    // swaybg reads what gdk-pixbuf reads when it was built with it, and PNG only otherwise.
    bool readsBmp() const override { return false; }

    /// The command for a target: its monitor only, or every output when its name is unknown.
    static QString command(const WallpaperTarget& target);

    /// One IPC message of type 0 (run command), framed.
    static QByteArray runCommandMessage(const QString& command);

private:
    QString m_socket;
};
