#pragma once

#include <QString>

// What the tray shell asks of the wallpaper engine; the do-nothing engine stands in where none
// is wired (tests of the shell alone).
class WallpaperEngine
{
public:
    virtual ~WallpaperEngine() = default;
    /// Picks the next picture of the current source and applies it; false when nothing changed.
    virtual bool changeToNext() = 0;
    /// Applies the last rendered wallpaper again (start-up without a change).
    virtual void reapply() = 0;
    /// The monitors changed: the wallpaper must be fitted and applied again.
    virtual void monitorsChanged() = 0;
    /// One line about the picture on screen, for the icon's tip.
    virtual QString currentDescription() const = 0;
};

class NoWallpaperEngine : public WallpaperEngine
{
public:
    bool changeToNext() override { return false; }
    void reapply() override { }
    void monitorsChanged() override { }
    QString currentDescription() const override { return {}; }
};
