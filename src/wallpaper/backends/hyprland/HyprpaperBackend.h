#pragma once

#include "WallpaperBackend.h"

// Hyprland: its wallpaper utility hyprpaper, spoken to on its own socket: one request a
// connection ("preload <file>", "wallpaper <monitor>,<file>", "unload <file>"), one reply.
class HyprpaperBackend final : public WallpaperBackend
{
public:
    explicit HyprpaperBackend(QString socketPath);

    /// hyprpaper's socket for a Hyprland instance: under XDG_RUNTIME_DIR since Hyprland 0.40,
    /// under /tmp before; the first that exists, else the newer place.
    static QString socketPath(const QString& runtimeDir, const QString& instance);

    QString name() const override { return QStringLiteral("hyprland"); }
    bool isAvailable(QString* reason = nullptr) const override;
    bool apply(const WallpaperTarget& target, QString* error) override;
    bool readsBmp() const override { return false; } // PNG, JPEG and WebP only

private:
    bool request(const QString& text, QString* reply) const;

    QString m_socket;
    QString m_shown;            // the file hyprpaper holds for us, unloaded once replaced
    bool m_preloadKnown = true; // hyprpaper 0.8 loads on "wallpaper" and no longer knows "preload"
};
