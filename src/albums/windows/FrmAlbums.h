#pragma once

#include "AlbumTypes.h"
#include "ClsImage.h"
#include "ThumbnailBatch.h"

#include <QHash>
#include <QMainWindow>
#include <QPointer>

#include <functional>
#include <map>

class AlbumTreeModel;
class ClsMdb;
class FrmPictureView;
class QAction;
class QComboBox;
class QLabel;
class QModelIndex;
class QProgressBar;
class QSlider;
class QSplitter;
class QToolButton;
class QTreeView;
class ThumbnailGridModel;
class ThumbnailView;

// The album window: the albums and their pages on the left, the thumbnails of the chosen page
// on the right. Albums and pages are made, renamed, moved and deleted here; pictures are added
// from files, folders or a file manager's drag (their thumbnails made by the decoding helpers
// while the user goes on), ordered by name, date or by hand, shown full screen, put on the
// desktop, or made the source of the wallpaper. Its size, place, splitter, zoom, order and last
// page are kept in the Albums settings.
class FrmAlbums : public QMainWindow
{
    Q_OBJECT

public:
    /// What the program does for the window.
    struct Hooks
    {
        /// Puts one picture on the desktop now; false when it could not.
        std::function<bool(const QString& path)> applyFile;
        /// Makes an album (page 0) or a page the source of the wallpaper; false when refused.
        std::function<bool(qint64 album, qint64 page)> useAlbumSource;
    };

    FrmAlbums(ClsMdb& db, const QString& thumbnailFolder, Hooks hooks, QWidget* parent = nullptr);
    ~FrmAlbums() override;

    /// Chooses a page (or, with page 0, an album) in the tree; false when there is none.
    bool selectPage(qint64 album, qint64 page);
    qint64 currentAlbum() const;
    qint64 currentPage() const;

    /// Adds files and the pictures of folders (with their sub-folders when `recursive`) to a
    /// page: the thumbnails are made in the background and each picture shows as it comes.
    void addPaths(qint64 page, const QStringList& paths, bool recursive);
    bool isAdding() const { return m_batch != nullptr || !m_jobs.isEmpty(); }

    /// Closes for the program's end: an adding under way stops, nothing more is written to
    /// the database, the settings are kept.
    void closeForExit();

    AlbumTreeModel* treeModel() const { return m_treeModel; }
    ThumbnailGridModel* gridModel() const { return m_gridModel; }
    QTreeView* tree() const { return m_tree; }
    ThumbnailView* grid() const { return m_grid; }
    FrmPictureView* pictureView() const;
    /// The last adding's pictures that could not be added, "file: reason" each.
    QStringList lastFailures() const { return m_lastFailures; }

signals:
    /// Every adding asked for is done (or cancelled), its failures told.
    void addingFinished();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct AddJob
    {
        qint64 page = 0;
        QStringList files;
    };

    void buildActions();
    void buildMenus();
    void buildToolBar();
    void buildCentre();
    void buildStatus();
    void restoreFromSettings();
    void saveToSettings();

    void treeCurrentChanged(const QModelIndex& current);
    void showPage(qint64 album, qint64 page);
    void updateActions();
    void updateStatus();
    void reloadGrid();

    void newAlbum();
    void newPage(bool underSelected);
    void renameSelected();
    void deleteSelected();

    void addPicturesDialog();
    void addFolderDialog();
    QList<qint64> selectedKeys() const;
    void removeFromPage();
    void undoRemove();
    void selectAfterRemoval(int row);
    void deleteFromStore();
    void picturesDropped(qint64 page, const QList<qint64>& pictures, qint64 fromPage, Qt::DropAction action);
    void openFullView(int row);
    void setWallpaperNow();
    void useAsSource(bool wholeAlbum);
    void cleanDatabase();
    void openHelp();

    void loadSortChoices();
    void applySort();
    void sortChosen();
    void newOrder();
    void deleteOrder();
    void saveMovedOrder();
    void zoomBy(int steps);

    QStringList collectPictures(const QStringList& paths, bool recursive) const;
    void startNextJob();
    void thumbnailDone(const ThumbnailBatch::Result& result);
    void storeResult(const ThumbnailBatch::Result& result);
    void jobFinished();
    void cancelAdding();
    bool storeVolumeOf(const QString& path, quint32* serial, QString* error);
    std::optional<PictureRow> linkPicture(
        qint64 page, quint32 serial, const QString& path, const QString& thumb, const QDateTime& date, QString* error);
    void showFailures();

    bool confirm(const QString& text, int acceptButton);
    void tell(const QString& text, const QString& details = {});

    ClsMdb& m_db;
    ClsImage m_images;
    Hooks m_hooks;

    AlbumTreeModel* m_treeModel = nullptr;
    ThumbnailGridModel* m_gridModel = nullptr;
    QTreeView* m_tree = nullptr;
    ThumbnailView* m_grid = nullptr;
    QSplitter* m_splitter = nullptr;
    QComboBox* m_sort = nullptr;
    QLabel* m_counts = nullptr;
    QWidget* m_progressBox = nullptr;
    QLabel* m_progressText = nullptr;
    QProgressBar* m_progress = nullptr;
    QToolButton* m_cancel = nullptr;
    QSlider* m_zoom = nullptr;
    QPointer<FrmPictureView> m_view;

    QAction* m_newAlbum = nullptr;
    QAction* m_newPage = nullptr;
    QAction* m_newSubPage = nullptr;
    QAction* m_rename = nullptr;
    QAction* m_delete = nullptr;
    QAction* m_addPictures = nullptr;
    QAction* m_addFolder = nullptr;
    QAction* m_fullView = nullptr;
    QAction* m_selectAll = nullptr;
    QAction* m_removeFromPage = nullptr;
    QAction* m_undoRemove = nullptr;
    QAction* m_deleteFromStore = nullptr;
    QAction* m_setWallpaper = nullptr;
    QAction* m_usePage = nullptr;
    QAction* m_useAlbum = nullptr;
    QAction* m_clean = nullptr;
    QAction* m_zoomIn = nullptr;
    QAction* m_zoomOut = nullptr;
    QAction* m_reverse = nullptr;
    QAction* m_newOrder = nullptr;
    QAction* m_deleteOrder = nullptr;
    QAction* m_help = nullptr;
    QAction* m_close = nullptr;

    // Adding pictures.
    QList<AddJob> m_jobs;
    ThumbnailBatch* m_batch = nullptr;
    qint64 m_jobPage = 0;
    bool m_jobPageGone = false; // the page being added to was deleted: what comes is dropped
    int m_jobDone = 0;
    int m_jobTotal = 0;
    QHash<QString, quint32> m_serialOf; // picture -> volume serial, for the pictures of the batch
    // The batch's results are stored in the order of the files, whichever helper finishes first.
    QHash<QString, int> m_batchIndex;
    std::map<int, ThumbnailBatch::Result> m_waitingResults;
    int m_nextResult = 0;
    QSet<quint32> m_storedVolumes; // volumes written to VolumeDesc during this window's life
    QStringList m_failures;
    QStringList m_lastFailures;

    // The last pictures taken off a page, for undo.
    qint64 m_removedFrom = 0;
    QList<PictureRow> m_removed;

    bool m_loadingSort = false;
    bool m_closingForExit = false;
};
