#pragma once

#include <QString>

#include <functional>

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

    /// Where the walk through the source stands, for the settings dialog.
    struct Counter
    {
        int shown = 0;       // pictures shown in this round
        int count = 0;       // entries of the source
        int direction = 1;   // of the back-and-forth walk
        bool endOut = false; // the last change found nothing to show
    };
    virtual Counter counter() { return {}; }

    /// The desktop back end in use, and whether its desktop keeps a lock-screen picture.
    virtual QString backendName() const { return {}; }
    virtual bool lockScreenKept() const { return false; }

    /// Called after each wallpaper that reached the desktop.
    void setOnChanged(std::function<void()> onChanged) { m_onChanged = std::move(onChanged); }

protected:
    void changed() const
    {
        if (m_onChanged)
            m_onChanged();
    }

private:
    std::function<void()> m_onChanged;
};

class NoWallpaperEngine : public WallpaperEngine
{
public:
    bool changeToNext() override { return false; }
    void reapply() override { }
    void monitorsChanged() override { }
    QString currentDescription() const override { return {}; }
};
