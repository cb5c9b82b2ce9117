#pragma once

#include "MdbShownPictures.h"
#include "NextPictureSelector.h"
#include "PictureSource.h"
#include "WallpaperEngine.h"

#include <QObject>

#include <functional>
#include <memory>

class ClsMdb;
class ClsMonitor;
class ImageDecoder;
class WallpaperBackend;
class WallpaperRenderer;
class QPainter;

// The wallpaper engine the tray drives: the picture folder, the choice of the next picture and
// its rendering onto the desktop.
class WallpaperChanger : public QObject, public WallpaperEngine
{
    Q_OBJECT

public:
    WallpaperChanger(ClsMonitor& monitors, ClsMdb& db, QObject* parent = nullptr);
    ~WallpaperChanger() override;

    /// `FNext` then `AfficheNewImage`: the next picture of the source on the desktop. When the
    /// folder's list is being (re)built, the change waits for it and happens as soon as it is ready.
    bool changeToNext() override;
    void reapply() override;
    void monitorsChanged() override;
    QString currentDescription() const override;
    Counter counter() override;
    QString backendName() const override;
    bool lockScreenKept() const override;

    /// Shows one given picture now (a file opened with Tapisol, `tapisol --apply`).
    bool applyFile(const QString& path);

    /// Something drawn over the wallpaper on screen, or none (see WallpaperRenderer::setOverlay).
    void setOverlay(std::function<void(QPainter&, const QRect&)> overlay);

    PictureSource& source() { return m_source; }
    WallpaperBackend& backend() { return *m_backend; }

private:
    void onListReady();
    struct RoundPreparation;
    void prepareRound();
    void onRoundPrepared(RoundPreparation prepared);
    bool changeNow();
    bool showPosition(int position);
    void playChangeSound();

    class Candidates;
    ClsMonitor& m_monitors;
    PictureSource m_source;
    MdbShownPictures m_shown;
    NextPictureSelector m_selector;
    QString m_databasePath;
    std::unique_ptr<Candidates> m_candidates;
    std::unique_ptr<ImageDecoder> m_decoder;
    std::unique_ptr<WallpaperBackend> m_backend;
    std::unique_ptr<WallpaperRenderer> m_renderer;
    bool m_changeWhenReady = false;
    quint64 m_preparing = 0; // the list generation whose round is being prepared, 0 when none
    bool m_changing = false;
    bool m_endOut = false;
};
