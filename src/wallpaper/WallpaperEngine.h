#pragma once

#include <QHash>
#include <QString>
#include <QVariant>

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

    /// What the quick access (command 3) offers: a project to switch to, and which base is on now.
    struct QuickSource
    {
        bool projectDefined = false;  // `SourceProjetKey` names a project that exists
        bool sourceIsProject = false; // the project is the source now
        bool defaultIsAlbum = false;  // the other base is an album or a page rather than a folder
    };
    virtual QuickSource quickSource() const { return {}; }
    /// Command 3: the source becomes the other base (the project, or the folder or album it
    /// stands in for), written to the settings, and a picture of it is shown as soon as its list
    /// is ready. False, with nothing changed, when no project is defined.
    virtual bool switchQuickSource() { return false; }

    /// Called after each wallpaper that reached the desktop.
    void setOnChanged(std::function<void()> onChanged) { m_onChanged = std::move(onChanged); }

    /// Called when the engine itself wrote the source settings (command 3, an album chosen in the
    /// album window), with the values written, before the first picture of the new source is
    /// picked: the tray restarts its countdown, the menu and an open settings dialog follow.
    using SourceSwitched = std::function<void(const QHash<int, QVariant>& values)>;
    void setOnSourceSwitched(SourceSwitched onSourceSwitched) { m_onSourceSwitched = std::move(onSourceSwitched); }

protected:
    void changed() const
    {
        if (m_onChanged)
            m_onChanged();
    }
    void sourceSwitched(const QHash<int, QVariant>& values) const
    {
        if (m_onSourceSwitched)
            m_onSourceSwitched(values);
    }

private:
    std::function<void()> m_onChanged;
    SourceSwitched m_onSourceSwitched;
};

class NoWallpaperEngine : public WallpaperEngine
{
public:
    bool changeToNext() override { return false; }
    void reapply() override { }
    void monitorsChanged() override { }
    QString currentDescription() const override { return {}; }
};
