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
class SourceCandidates;
class ImageDecoder;
class WallpaperBackend;
class WallpaperRenderer;
class QPainter;

// The wallpaper engine the tray drives: the picture source (a folder, an album or a page, a
// slideshow project), the choice of the next picture and its rendering onto the desktop. A
// project's round is kept in `TableImageDiap`, apart from the folder's or album's in `TableImage`,
// so that switching to the project and back (command 3) takes up each round where it was.
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
    QuickSource quickSource() const override;
    bool switchQuickSource() override;

    /// Shows one given picture now (a file opened with Tapisol, `tapisol --apply`).
    bool applyFile(const QString& path);

    /// Makes an album (`page` 0) or a page of it, with the pages under it, the picture source: the
    /// settings `SourceAlbum`, `SourceAlbumKey` and `SourceAlbumPage` are written (and
    /// `SourceProjet` cleared), the hook of setOnSourceSwitched() runs (the tray restarts its
    /// countdown there), and a picture of the album is shown as soon as its list has been read,
    /// which is after this returns. False, with nothing changed, when the album or the page is
    /// not in the database.
    bool useAlbumSource(qint64 album, qint64 page);

    /// Something drawn over the wallpaper on screen, or none (see WallpaperRenderer::setOverlay).
    void setOverlay(std::function<void(QPainter&, const QRect&)> overlay);

    PictureSource& source() { return m_source; }
    WallpaperBackend& backend() { return *m_backend; }

private:
    void onListReady();
    void onListConfirmed();
    struct RoundPreparation;
    void prepareRound();
    void onRoundPrepared(RoundPreparation prepared);
    bool changeNow();
    bool showPosition(int position);
    void playChangeSound();
    bool switchSource(const QHash<int, QVariant>& values);
    bool projectExists(qint64 key) const;
    // The round of the list in use: the project's, or the folder's and the albums'.
    bool projectRound() const { return m_source.choice().kind == SourceSelection::Kind::Project; }
    MdbShownPictures& shown() { return projectRound() ? m_shownDiap : m_shown; }
    NextPictureSelector& selector() { return projectRound() ? m_selectorDiap : m_selector; }

    ClsMonitor& m_monitors;
    ClsMdb& m_db;
    PictureSource m_source;
    MdbShownPictures m_shown;
    NextPictureSelector m_selector;
    MdbShownPictures m_shownDiap;
    NextPictureSelector m_selectorDiap;
    QString m_databasePath;
    std::unique_ptr<SourceCandidates> m_candidates;
    std::unique_ptr<ImageDecoder> m_decoder;
    std::unique_ptr<WallpaperBackend> m_backend;
    std::unique_ptr<WallpaperRenderer> m_renderer;
    bool m_changeWhenReady = false;
    quint64 m_preparing = 0; // the list generation whose round is being prepared, 0 when none
    bool m_changing = false;
    bool m_endOut = false;
};
