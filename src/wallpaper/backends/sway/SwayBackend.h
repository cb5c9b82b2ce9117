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

    /// The IPC message types used here.
    static constexpr quint32 RunCommand = 0;
    static constexpr quint32 GetOutputs = 3;

    /// One IPC message, framed: magic, payload length and type in the host's byte order, payload.
    static QByteArray message(quint32 type, const QString& payload);

private:
    QString m_socket;
};
