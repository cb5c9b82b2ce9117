#pragma once

#include "WallpaperBackend.h"

// LXQt: its desktop is drawn by pcmanfm-qt, which takes a new wallpaper from its own command line
// (handed to the running instance, which saves it in its settings).
class LxqtBackend final : public WallpaperBackend
{
public:
    /// `program` is pcmanfm-qt, looked for on the PATH by default.
    explicit LxqtBackend(QString program = QStringLiteral("pcmanfm-qt"));

    QString name() const override { return QStringLiteral("lxqt"); }
    bool isAvailable(QString* reason = nullptr) const override;
    bool apply(const WallpaperTarget& target, QString* error) override;

    /// The arguments given to pcmanfm-qt for a target.
    static QStringList arguments(const WallpaperTarget& target);

private:
    QString m_program;
};
